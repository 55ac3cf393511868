// What the programs that measure are called with: OUTPUT [--only TEXT] [FEED...].
#ifndef BENCHMARKS_ARGUMENTS_H
#define BENCHMARKS_ARGUMENTS_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

struct Arguments {
    std::string output;
    std::string only;  ///< Measure only what bears this text in its name.
    std::vector<std::string> feeds;

    bool wants(const std::string& name) const { return name.find(only) != std::string::npos; }
};

/// Ends the program with a message where the call is wrong.
inline Arguments argumentsOf(int argc, char** argv) {
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
#ifdef PIS_STANDALONE
    if (!arguments.output.empty()) return arguments;
    std::fprintf(stderr, "usage: %s OUTPUT [--only TEXT] [FEED...]\n", argv[0]);
#else
    if (!arguments.output.empty() && arguments.feeds.empty()) return arguments;
    std::fprintf(stderr, "usage: %s OUTPUT [--only TEXT]\n", argv[0]);
#endif
    std::exit(2);
}

#endif
