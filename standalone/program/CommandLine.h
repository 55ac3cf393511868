// The command line of pis: which subcommands there are, and what each is told.
#ifndef PIS_PROGRAM_COMMANDLINE_H
#define PIS_PROGRAM_COMMANDLINE_H

namespace pis::program {

/// Does what the command line asks for.
/// @return the program's exit status: one of base::ExitStatus.
int run(int argc, char** argv);

}  // namespace pis::program

#endif
