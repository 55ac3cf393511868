// The program pis: the passenger-information store at a terminal.
#include <exception>

#include "base/ExitStatus.h"
#include "base/Output.h"
#include "program/CommandLine.h"

int main(int argc, char** argv) {
    using namespace pis;
    int status = base::FAILED;
    try {
        status = program::run(argc, argv);
    } catch (const std::exception& error) {
        base::complain(error.what());
    }
    return base::finishOutput() ? status : base::FAILED;
}
