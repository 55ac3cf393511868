// The texts that clients are sent, by their bytes: so that no number of readers, however slow, takes more memory than
// the operator grants.
#ifndef PIS_SERVICE_TEXTACCOUNT_H
#define PIS_SERVICE_TEXTACCOUNT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace pis::service {

/// A text that may be sent to many; it counts until the last of them lets go of it.
using SharedText = std::shared_ptr<const std::string>;

/// [Threading] For one thread, texts and all.
class TextAccount {
public:
    /// @param most bytes; beyond them no new text is to be made.
    explicit TextAccount(std::uint64_t most) : _most(most) {}

    /// Counts a text for as long as anybody holds it.
    SharedText keep(std::string text) {
        const std::size_t size = text.capacity();
        *_bytes += size;
        return {new std::string(std::move(text)), [bytes = _bytes, size](const std::string* kept) {
                    *bytes -= size;
                    delete kept;
                }};
    }

    /// Whether a new text may be made now; otherwise who wants one waits its turn.
    bool hasRoom() const { return *_bytes < _most; }

    std::size_t bytes() const { return *_bytes; }
    std::uint64_t most() const { return _most; }

private:
    std::uint64_t _most;
    std::shared_ptr<std::size_t> _bytes = std::make_shared<std::size_t>(0);
};

}  // namespace pis::service

#endif
