// How a subcommand of pis ends.
#ifndef PIS_BASE_EXITSTATUS_H
#define PIS_BASE_EXITSTATUS_H

namespace pis::base {

enum ExitStatus : int {
    DONE = 0,
    FINDINGS = 1,      ///< check: something was found. replay: lines were skipped, as asked for.
    FAILED = 2,        ///< A wrong call, a file that cannot be read, a line that is no record.
    INTERRUPTED = 128  ///< Stopped by a signal, whose number is added: 130 from the terminal.
};

}  // namespace pis::base

#endif
