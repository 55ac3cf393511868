#include "FileLink.h"

#include <exception>
#include <utility>

#include "ByteReader.h"
#include "HostLog.h"
#include "Pace.h"
#include "RecordReader.h"

FileLink::FileLink(std::string path, double speed) : _path(std::move(path)), _speed(speed) {}

void FileLink::run(Inbox& inbox) {
    LinkChange last{FeedStatus::DOWN, ""};
    try {
        last = readAll(inbox);
    } catch (const std::exception& error) {
        last.detail = error.what();
    }
    if (!_stop.given()) inbox.put(std::move(last));
}

/// How the feed ended.
LinkChange FileLink::readAll(Inbox& inbox) {
    ByteReader bytes(_path, &_stop);
    RecordReader records(bytes);
    Pace pace(_speed, [this] { return _stop.given(); });
    inbox.put(LinkChange{FeedStatus::UP, ""});

    bool taken = true;
    while (taken) {
        FeedRecord record;
        const RecordReader::Next next = records.next(record);
        if (_stop.given()) break;
        switch (next) {
            case RecordReader::Next::RECORD:
                pace.waitFor(record.at);
                taken = !_stop.given() && inbox.put(std::move(record));
                break;
            case RecordReader::Next::MALFORMED:
                taken = inbox.put(
                    MalformedLine{record.type, "line " + std::to_string(records.line()) + ": " + records.fault()});
                break;
            case RecordReader::Next::UNREADABLE:
                return {FeedStatus::DOWN, "line " + std::to_string(records.line()) + ": " + records.fault()};
            case RecordReader::Next::END: return {FeedStatus::ENDED, "the feed was read to its end"};
        }
    }
    return {FeedStatus::ENDED, "stopped"};
}

bool FileLink::send(const SendOperation& operation) {
    HostLog::say("operation " + std::to_string(operation.operation) + " is lost: " + name() + " takes no operations");
    return false;
}
