// Where the host's log lines go.
#ifndef PIS_PLATFORM_HOSTLOG_H
#define PIS_PLATFORM_HOSTLOG_H

#include <string>

/// The log behind debug() and handleError(). Lines bear time and level and go to standard error until
/// a file is named. debug(), handleError(), say() and reopen() may be called from any thread; the other
/// operations here belong to the start of a program, before other threads run.
namespace pis::platform::HostLog {

/// Appends to a file from now on.
/// @throws std::runtime_error with a message for people when it cannot be opened.
void writeTo(const std::string& path);

/// Opens the file named last again under its name: whoever keeps old logs has moved it away. Does nothing
/// while the log goes to standard error.
/// @throws std::runtime_error with a message for people when it cannot be opened; the log goes on as before.
void reopen();

/// Writes a line for whoever runs the service, whatever the level; it stands in the file at once.
void say(const std::string& text);

/// The same for what they should look at.
void warn(const std::string& text);

/// Writes out what the log still holds.
/// @throws std::runtime_error with a message for people when a line was lost since the last call.
void finish();

/// Writes lines up to this level, none below 0, and makes the store say that much. Errors are always
/// written.
void setLevel(long level);

/// Makes the store say up to this level to a listener to host calls, whatever the log writes.
void tellListenersUpTo(long level);

}  // namespace pis::platform::HostLog

#endif
