// What pis says: results on standard output, complaints on standard error.
#ifndef PIS_BASE_OUTPUT_H
#define PIS_BASE_OUTPUT_H

#include <string>
#include <string_view>

namespace pis::base {

/// Writes a result as it stands. Whether it could be written shows in finishOutput().
void print(std::string_view text);

/// Writes a result and a line end.
void printLine(std::string_view line);

/// Writes a text on standard error as it stands, behind whatever was printed before.
void remark(std::string_view text);

/// Writes a fault of the input, "FILE:LINE: WHAT" as a rule, on standard error, on one line.
void reportFault(std::string_view fault);

/// Writes "pis: WHAT" on standard error, on one line: what goes wrong elsewhere.
void complain(std::string_view what);

/// Writes out what standard output still holds. False, with a complaint, when any of it was lost.
bool finishOutput();

/// Control characters as escapes: a text from outside stays on its line and does not steer a terminal.
std::string onOneLine(std::string_view text);

/// A text from outside as it is quoted in a sentence: on one line, and cut where it is long.
std::string quoted(std::string_view text);

}  // namespace pis::base

#endif
