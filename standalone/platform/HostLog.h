// Where the host's log lines go.
#ifndef STANDALONE_PLATFORM_HOSTLOG_H
#define STANDALONE_PLATFORM_HOSTLOG_H

#include <string>

/// The log behind debug() and handleError(). Lines bear time and level and go to standard error until
/// a file is named. debug() and handleError() may be called from any thread; the operations here
/// belong to the start of a program, before other threads run.
namespace HostLog {

/// Appends to a file from now on.
/// @throws std::runtime_error with a message for people when it cannot be opened.
void writeTo(const std::string& path);

/// Writes out what the log still holds.
/// @throws std::runtime_error with a message for people when a line was lost since the last call.
void finish();

/// Writes lines up to this level, none below 0, and makes the store say that much. Errors are always
/// written.
void setLevel(long level);

/// Makes the store say up to this level to a listener to host calls, whatever the log writes.
void tellListenersUpTo(long level);

}  // namespace HostLog

#endif
