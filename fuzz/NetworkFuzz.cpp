// In goes a network file. Either it is a railway, which then runs for an hour, or one sentence says what is
// wrong and where.
#include <stdexcept>

#include "FuzzCheck.h"
#include "simulator/Simulation.h"

namespace {

constexpr int kHour = 3600;
constexpr std::size_t kMostRecords = 200000;

/// A railway without end is no fault of the reader's.
struct Enough {};

void runForAnHour(const pis::simulator::Network& network) {
    std::size_t records = 0;
    try {
        pis::simulator::Simulation railway(network, 1);
        railway.reportWholeState([&records](const pis::feed::FeedRecord&) { ++records; });
        railway.advanceTo(railway.now() + kHour, [&records](const pis::feed::FeedRecord& record) {
            require(record.kind != pis::feed::FeedRecord::UPDATE || record.id > 0, "an element without an id");
            if (++records > kMostRecords) throw Enough();
        });
    } catch (const Enough&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        runForAnHour(pis::simulator::parseNetwork(textOf(data, size), "network.json"));
    } catch (const std::runtime_error& fault) {
        require(std::string(fault.what()).rfind("network.json: ", 0) == 0, fault.what());
    }
    return 0;
}
