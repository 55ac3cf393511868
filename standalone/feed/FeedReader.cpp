#include "feed/FeedReader.h"

#include <stdexcept>

#include "feed/ByteReader.h"

namespace pis::feed {

struct FeedReader::Source {
    Source(const std::string& path, const base::StopSignal* stop) : bytes(path, stop), records(bytes) {}

    ByteReader bytes;
    RecordReader records;
};

FeedReader::FeedReader(const std::string& path, const base::StopSignal* stop)
    : _name(path == "-" ? "standard input" : path) {
    try {
        _source = std::make_unique<Source>(path, stop);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(_name + ": " + error.what());
    }
}

FeedReader::~FeedReader() = default;

FeedReader::Next FeedReader::next(FeedRecord& record) {
    const Next next = _source->records.next(record);
    if (next == Next::MALFORMED || next == Next::UNREADABLE) _fault = place() + ": " + _source->records.fault();
    return next;
}

std::string FeedReader::place() const {
    return _name + ":" + std::to_string(_source->records.line());
}

std::uint64_t FeedReader::consumed() const {
    return _source->records.consumed();
}

}  // namespace pis::feed
