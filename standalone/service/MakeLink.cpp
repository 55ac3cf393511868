#include "service/MakeLink.h"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>

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

/// What stands behind a prefix, if the text begins with it.
std::optional<std::string> behind(std::string_view prefix, const std::string& text) {
    if (text.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
    return text.substr(prefix.size());
}

bool isPort(const std::string& text) {
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
}

/// "HOST:PORT" or "[HOST]:PORT".
signalling::TcpAddress addressIn(const std::string& text, const std::string& link) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw wrong(link, "the port is missing");
    signalling::TcpAddress address{text.substr(0, colon), text.substr(colon + 1)};
    if (!isPort(address.port)) throw wrong(link, "the port is no number from 1 to 65535");
    const bool inBrackets = address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']';
    if (inBrackets) address.host = address.host.substr(1, address.host.size() - 2);
    if (address.host.empty()) throw wrong(link, "the host is missing");
    const std::string_view notInNames = inBrackets ? "[]/@ " : "[]/@ :";
    if (address.host.find_first_of(notInNames) != std::string::npos) throw wrong(link, "the host is none");
    return address;
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
    if (const auto path = behind("file:", link)) {
        if (path->empty()) throw wrong(link, "the path is missing");
        refuseRailwayOptions(options, true);
        return std::make_unique<signalling::FileLink>(*path, options.speed);
    }
    if (const auto address = behind("tcp://", link)) {
        refuseRailwayOptions(options, false);
        return std::make_unique<signalling::TcpLink>(addressIn(*address, link));
    }
    if (const auto file = behind("sim:", link)) {
        if (file->empty()) throw wrong(link, "the network file is missing");
        simulator::SimulationOptions simulation = options.simulation;
        simulation.networkFile = *file;
        return std::make_unique<simulator::SimLink>(simulation);
    }
    throw wrong(link, "is none");
}

}  // namespace pis::service
