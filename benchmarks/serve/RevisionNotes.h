// A reader that writes down which revisions there were.
#ifndef BENCHMARKS_SERVE_REVISIONNOTES_H
#define BENCHMARKS_SERVE_REVISIONNOTES_H

#include <string>
#include <string_view>
#include <vector>

#include "Stream.h"

class RevisionNotes : public Stream {
public:
    RevisionNotes(EventLoop& loop, unsigned short port, const std::string& known)
        : Stream(loop, {port}, requestFor("/api/v1/changes", knowing(known))) {}

    const std::vector<std::string>& revisions() const { return _revisions; }

private:
    void received(std::string_view bytes) override {
        static constexpr std::string_view kBefore = "\nid: ";
        _text.append(bytes);
        std::size_t read = 0;
        while (true) {
            const std::size_t found = _text.find(kBefore, read);
            const std::size_t end = found == std::string::npos ? found : _text.find('\n', found + kBefore.size());
            if (end == std::string::npos) break;
            const std::size_t begin = found + kBefore.size();
            std::string revision = _text.substr(begin, end - begin);
            if (_revisions.empty() || _revisions.back() != revision) _revisions.push_back(std::move(revision));
            read = end;
        }
        _text.erase(0, read);
    }

    std::string _text;
    std::vector<std::string> _revisions;
};

#endif
