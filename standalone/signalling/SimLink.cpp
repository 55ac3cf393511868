#include "SimLink.h"

#include <exception>
#include <utility>

#include "HostLog.h"
#include "RecordParser.h"

namespace {

/// Puts what the simulated side sends into the inbox.
class LinesToInbox : public SignallingLines {
public:
    LinesToInbox(Inbox& inbox, SimulatedSide& side, std::atomic<bool>& connected)
        : _inbox(inbox), _side(side), _connected(connected) {}

    void onConnected() override {
        _connected = true;
        put(LinkChange{FeedStatus::UP, ""});
    }

    void onLine(std::string_view line) override {
        FeedRecord record;
        if (_parser.parseCopy(line, record)) {
            put(std::move(record));
        } else {
            put(MalformedLine{record.type, _parser.fault()});
        }
    }

    void onDisconnected(const std::string& why) override {
        _connected = false;
        put(LinkChange{FeedStatus::DOWN, why});
    }

    void onRemark(const std::string& remark) override { HostLog::say("simulated signalling side: " + remark); }

private:
    void put(LinkItem item) {
        if (!_inbox.put(std::move(item))) _side.stop();
    }

    Inbox& _inbox;
    SimulatedSide& _side;
    std::atomic<bool>& _connected;
    RecordParser _parser;
};

}  // namespace

SimLink::SimLink(const SimulationOptions& options) : _file(options.networkFile), _side(options) {}

void SimLink::run(Inbox& inbox) {
    try {
        LinesToInbox lines(inbox, _side, _connected);
        _side.run(lines);
    } catch (const std::exception& error) {
        inbox.put(LinkChange{FeedStatus::DOWN, std::string("the simulation ended: ") + error.what()});
    }
}

bool SimLink::send(const SendOperation& operation) {
    if (!_connected) {
        HostLog::say("operation " + std::to_string(operation.operation) + " is lost: " + name() + " is cut off");
        return false;
    }
    _side.take(operation.operation, operation.text);
    return true;
}
