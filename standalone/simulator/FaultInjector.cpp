#include "simulator/FaultInjector.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

#include "base/Numbers.h"
#include "base/Output.h"

namespace pis::simulator {

namespace {

constexpr double kFlowing = 5;  // times a stall's length
constexpr double kLongest = 86400;

struct Kind {
    std::string_view name;
    double FaultPlan::*value;
    bool isShare;
};

constexpr std::array<Kind, 5> kKinds{{{"drop", &FaultPlan::drop, true},
                                      {"duplicate", &FaultPlan::duplicate, true},
                                      {"garble", &FaultPlan::garble, true},
                                      {"stall", &FaultPlan::stall, false},
                                      {"disconnect", &FaultPlan::disconnect, false}}};

const Kind& kindNamed(std::string_view name) {
    for (const Kind& kind : kKinds) {
        if (kind.name == name) return kind;
    }
    throw std::invalid_argument(base::quoted(name) +
                                " is no fault, expected drop, duplicate, garble, stall or disconnect");
}

double valueOf(const Kind& kind, std::string_view text) {
    const double value = base::numberIn<double>(text).value_or(-1);
    if (kind.isShare ? value >= 0 && value <= 1 : value > 0 && value <= kLongest) return value;
    throw std::invalid_argument(std::string(kind.name) + " is " + base::quoted(text) + ", expected " +
                                (kind.isShare ? "a share of the lines from 0 to 1" : "seconds above 0, up to 86400"));
}

}  // namespace

FaultPlan parseFaultPlan(std::string_view text) {
    FaultPlan plan;
    std::set<std::string_view> seen;
    while (true) {
        const std::string_view item = text.substr(0, text.find(','));
        const std::size_t equals = item.find('=');
        const Kind& kind = kindNamed(item.substr(0, equals));
        if (equals == std::string_view::npos) {
            throw std::invalid_argument(std::string(kind.name) + " has no value, expected " + std::string(kind.name) +
                                        (kind.isShare ? "=P" : "=SECONDS"));
        }
        if (!seen.insert(kind.name).second) throw std::invalid_argument(std::string(kind.name) + " is there twice");
        plan.*kind.value = valueOf(kind, item.substr(equals + 1));
        if (item.size() == text.size()) return plan;
        text.remove_prefix(item.size() + 1);
    }
}

FaultInjector::FaultInjector(const FaultPlan& plan, std::uint32_t seed) : _plan(plan), _random(seed) {}

void FaultInjector::pass(std::string_view line, Line kind, double time, const Output& output) {
    ++_counts.lines;
    release(time, output);
    if (kind == Line::WHOLE_STATE) return deliver(std::string(line), time, output);
    if (happens(_plan.drop)) {
        ++_counts.dropped;
        return;
    }
    std::string sent(line);
    if (happens(_plan.garble)) {
        ++_counts.garbled;
        sent = garbled(line);
    }
    if (happens(_plan.duplicate)) {
        ++_counts.duplicated;
        deliver(sent, time, output);
    }
    deliver(std::move(sent), time, output);
}

void FaultInjector::release(double time, const Output& output) {
    if (_held.empty() || stalled(time)) return;
    std::deque<std::string> held;
    held.swap(_held);
    _heldBytes = 0;
    for (const std::string& line : held) output(line);
}

bool FaultInjector::cut(double time) const {
    return _plan.disconnect > 0 && time >= _plan.disconnect;
}

double FaultInjector::nextChange(double time) const {
    double next = std::numeric_limits<double>::infinity();
    if (_plan.disconnect > 0) next = _plan.disconnect;
    if (!_held.empty()) {
        const double round = _plan.stall * (kFlowing + 1);
        next = std::min(next, stalled(time) ? (std::floor(time / round) + 1) * round : time);
    }
    return next;
}

bool FaultInjector::stalled(double time) const {
    if (_plan.stall <= 0) return false;
    return std::fmod(time, _plan.stall * (kFlowing + 1)) >= _plan.stall * kFlowing;
}

void FaultInjector::deliver(std::string line, double time, const Output& output) {
    if (!stalled(time)) return output(line);
    ++_counts.held;
    _heldBytes += line.size();
    _held.push_back(std::move(line));
}

/// Draws only where something can happen, so that one fault's share leaves the others as they are.
bool FaultInjector::happens(double share) {
    return share > 0 && static_cast<double>(_random()) < share * 4294967296.0;
}

std::size_t FaultInjector::below(std::size_t bound) {
    return static_cast<std::size_t>(_random() % bound);
}

/// Cut short, or with some bytes changed or put in; never with a line end, which would make it two.
std::string FaultInjector::garbled(std::string_view line) {
    std::string damaged(line);
    if (damaged.empty()) return damaged;
    const auto anyByte = [this] {
        const auto byte = static_cast<char>(below(256));
        return byte == '\n' ? '\v' : byte;
    };
    const std::size_t how = below(3);
    if (how == 0) return damaged.substr(0, below(damaged.size()));
    for (std::size_t times = 1 + below(4); times > 0; --times) {
        const std::size_t position = below(damaged.size());
        if (how == 1) {
            damaged[position] = anyByte();
        } else {
            damaged.insert(position, 1, anyByte());
        }
    }
    return damaged;
}

}  // namespace pis::simulator
