// The host's log.
#ifndef HOST_DEBUG_H
#define HOST_DEBUG_H

/// Highest level that the host wants to hear of; below 0, nothing. The store asks it before every
/// line: level 2 for updates, level 1 for deletions, level 0 for observer registration.
extern long debugLevel;

/// Writes one log line.
/// @param level  0 (rare) to 2 (every change).
/// @param format printf format of the line, without a line end.
void debug(int level, const char* format, ...);

/// Reports a fault that somebody should look at.
/// @param severity the store uses 3.
/// @param format   printf format of the line, without a line end.
void handleError(int severity, const char* format, ...);

#endif
