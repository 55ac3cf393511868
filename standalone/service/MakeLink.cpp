#include "service/MakeLink.h"

#include <stdexcept>
#include <string_view>

#include "base/HostAndPort.h"
#include "base/Text.h"
#include "signalling/FileLink.h"
#include "signalling/TcpLink.h"
#include "simulator/SimLink.h"

namespace pis::service {

namespace {

constexpr const char* kForms =
    "a link is file:PATH (- or file:- for standard input), tcp://HOST:PORT ([HOST] for an IPv6 address) or sim:FILE";

std::runtime_error wrong(const std::string& link, const std::string& what) {
    return std::runtime_error("link \"" + link + "\": " + what + "; " + kForms);
}

base::HostAndPort addressIn(std::string_view text, const std::string& link) {
    try {
        base::HostAndPort address = base::hostAndPortIn(text);
        if (address.port == 0) throw std::invalid_argument("there is no port 0 to connect to");
        return address;
    } catch (const std::invalid_argument& fault) {
        throw wrong(link, fault.what());
    }
}

/// What is said of a railway to a link that runs none would be lost on it.
void refuseRailwayOptions(const LinkOptions& options, bool takesSpeed) {
    const simulator::SimulationOptions& railway = options.simulation;
    const auto refuse = [&options](bool given, const char* option) {
        if (!given) return;
        throw std::runtime_error("link \"" + options.link + "\": takes no " + option + "; a simulated railway does");
    };
    refuse(railway.speed.has_value() && !takesSpeed, "--speed");
    refuse(railway.start.has_value(), "--start");
    refuse(railway.until.has_value(), "--until");
    refuse(railway.snapshotMinutes != 0, "--snapshots");
    refuse(railway.faults.any(), "--fault");
}

}  // namespace

std::unique_ptr<signalling::SignallingLink> makeLink(const LinkOptions& options) {
    const std::string& link = options.link;
    if (link == "-") {
        refuseRailwayOptions(options, true);
        return std::make_unique<signalling::FileLink>("-", options.speed);
    }
    if (const auto path = base::behind("file:", link)) {
        if (path->empty()) throw wrong(link, "the path is missing");
        refuseRailwayOptions(options, true);
        return std::make_unique<signalling::FileLink>(std::string(*path), options.speed);
    }
    if (const auto address = base::behind("tcp://", link)) {
        refuseRailwayOptions(options, false);
        return std::make_unique<signalling::TcpLink>(addressIn(*address, link));
    }
    if (const auto file = base::behind("sim:", link)) {
        if (file->empty()) throw wrong(link, "the network file is missing");
        simulator::SimulationOptions simulation = options.simulation;
        simulation.networkFile = *file;
        return std::make_unique<simulator::SimLink>(simulation);
    }
    throw wrong(link, "is none");
}

}  // namespace pis::service
