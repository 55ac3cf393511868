#include "signalling/FileLink.h"

#include <exception>
#include <utility>

#include "feed/ByteReader.h"
#include "feed/Pace.h"
#include "feed/RecordReader.h"
#include "platform/HostLog.h"

namespace pis::signalling {

FileLink::FileLink(std::string path, double speed) : _path(std::move(path)), _speed(speed) {}

void FileLink::run(Inbox& inbox) {
    LinkChange last{feed::FeedStatus::DOWN, ""};
    try {
        last = readAll(inbox);
    } catch (const std::exception& error) {
        last.detail = error.what();
    }
    if (!_stop.given()) inbox.put(std::move(last));
}

/// How the feed ended.
LinkChange FileLink::readAll(Inbox& inbox) {
    feed::ByteReader bytes(_path, &_stop);
    feed::RecordReader records(bytes);
    feed::Pace pace(_speed, _stop);
    inbox.put(LinkChange{feed::FeedStatus::UP, ""});

    bool taken = true;
    while (taken) {
        feed::FeedRecord record;
        const feed::RecordReader::Next next = records.next(record);
        if (_stop.given()) break;
        switch (next) {
            case feed::RecordReader::Next::RECORD:
                pace.waitFor(record.at);
                taken = !_stop.given() && inbox.put(std::move(record));
                break;
            case feed::RecordReader::Next::MALFORMED:
                taken = inbox.put(
                    MalformedLine{record.type, "line " + std::to_string(records.line()) + ": " + records.fault()});
                break;
            case feed::RecordReader::Next::UNREADABLE:
                return {feed::FeedStatus::DOWN, "line " + std::to_string(records.line()) + ": " + records.fault()};
            case feed::RecordReader::Next::END: return {feed::FeedStatus::ENDED, "the feed was read to its end"};
        }
    }
    return {feed::FeedStatus::ENDED, "stopped"};
}

bool FileLink::send(const platform::SendOperation& operation) {
    platform::HostLog::say("operation " + std::to_string(operation.operation) + " is lost: " + name() +
                           " takes no operations");
    return false;
}

}  // namespace pis::signalling
