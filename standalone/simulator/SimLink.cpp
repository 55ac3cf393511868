#include "simulator/SimLink.h"

#include <exception>
#include <utility>

#include "feed/RecordParser.h"
#include "platform/HostLog.h"

namespace pis::simulator {

namespace {

/// Puts what the simulated side sends into the inbox.
class LinesToInbox : public SignallingLines {
public:
    LinesToInbox(signalling::Inbox& inbox, SimulatedSide& side, std::atomic<bool>& connected)
        : _inbox(inbox), _side(side), _connected(connected) {}

    void onConnected() override {
        _connected = true;
        put(signalling::LinkChange{feed::FeedStatus::UP, ""});
    }

    void onLine(std::string_view line) override {
        feed::FeedRecord record;
        if (_parser.parseCopy(line, record)) {
            put(std::move(record));
        } else {
            put(signalling::MalformedLine{record.type, _parser.fault()});
        }
    }

    void onDisconnected(const std::string& why) override {
        _connected = false;
        put(signalling::LinkChange{feed::FeedStatus::DOWN, why});
    }

    void onRemark(const std::string& remark) override {
        platform::HostLog::say("simulated signalling side: " + remark);
    }

private:
    void put(signalling::LinkItem item) {
        if (!_inbox.put(std::move(item))) _side.stop();
    }

    signalling::Inbox& _inbox;
    SimulatedSide& _side;
    std::atomic<bool>& _connected;
    feed::RecordParser _parser;
};

}  // namespace

SimLink::SimLink(const SimulationOptions& options) : _file(options.networkFile), _side(options) {}

void SimLink::run(signalling::Inbox& inbox) {
    try {
        LinesToInbox lines(inbox, _side, _connected);
        _side.run(lines);
    } catch (const std::exception& error) {
        inbox.put(signalling::LinkChange{feed::FeedStatus::DOWN, std::string("the simulation ended: ") + error.what()});
    }
}

bool SimLink::send(const platform::SendOperation& operation) {
    if (!_connected) {
        signalling::sayOperationLost(operation, name() + " is cut off");
        return false;
    }
    _side.answer(operation.operation, operation.text);
    return true;
}

}  // namespace pis::simulator
