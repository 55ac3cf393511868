// What the programs that measure are called with: OUTPUT [--only TEXT] [FEED...].
#ifndef BENCHMARKS_ARGUMENTS_H
#define BENCHMARKS_ARGUMENTS_H

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

struct Arguments {
    std::string output;
    std::string only;  ///< Measure only what bears this text in its name.
    std::vector<std::string> feeds;

    bool wants(const std::string& name) const { return name.find(only) != std::string::npos; }
};

/// @throws std::runtime_error how to call the program, where it was called otherwise.
inline Arguments argumentsOf(int argc, char** argv) {
#ifdef PIS_STANDALONE
    constexpr bool kReadsFeeds = true;
#else
    constexpr bool kReadsFeeds = false;
#endif
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--only" && i + 1 < argc) {
            arguments.only = argv[++i];
        } else if (arguments.output.empty()) {
            arguments.output = argument;
        } else {
            arguments.feeds.push_back(argument);
        }
    }
    if (arguments.output.empty() || (!arguments.feeds.empty() && !kReadsFeeds)) {
        throw std::runtime_error(std::string("usage: OUTPUT [--only TEXT]") + (kReadsFeeds ? " [FEED...]" : ""));
    }
    return arguments;
}

/// What main does: 0 when the action ended and its results were written, 2 with a message otherwise.
template <typename Action>
int runProgram(const char* name, const Action& action) {
    try {
        if (action()) return 0;
        std::fprintf(stderr, "%s: the results cannot be written\n", name);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "%s: %s\n", name, fault.what());
    }
    return 2;
}

#endif
