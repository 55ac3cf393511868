// make-sample-feed: writes the sample feed to standard output.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include "FeedWriter.h"
#include "HarbourMorning.h"

namespace {

void require(bool written) {
    if (written) return;
    std::fprintf(stderr, "make-sample-feed: standard output: %s\n", std::generic_category().message(errno).c_str());
    std::_Exit(2);
}

}  // namespace

int main() {
    harbourMorning([](const FeedRecord& record) {
        const std::string line = toJsonLine(record) + '\n';
        require(std::fwrite(line.data(), 1, line.size(), stdout) == line.size());
    });
    require(std::fclose(stdout) == 0);
    return 0;
}
