#include "platform/HostLog.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <utility>

#include "base/Mutex.h"
#include "debug.h"
#include "platform/HostCalls.h"

long debugLevel = 0;

namespace pis::platform {

namespace {

std::atomic<long> theLogLevel{0};

base::Mutex theFailureMutex;
std::string theFailure PIS_GUARDED_BY(theFailureMutex);  // the first one

void rememberFailure(const std::string& message) {
    const base::MutexLock lock(theFailureMutex);
    if (theFailure.empty()) theFailure = message;
}

std::shared_ptr<spdlog::logger> loggerTo(spdlog::sink_ptr sink) {
    auto logger = std::make_shared<spdlog::logger>("host", std::move(sink));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
    logger->flush_on(spdlog::level::err);
    logger->set_error_handler(rememberFailure);
    return logger;
}

using Logger = std::shared_ptr<spdlog::logger>;

/// Where the logger stands; made when it is first asked for, since a store in static storage may log early.
/// Read and written atomically: the file may be opened again while others log.
Logger& theLoggersPlace() {
    static Logger logger = loggerTo(std::make_shared<spdlog::sinks::stderr_sink_mt>());
    return logger;
}

Logger theLogger() {
    return std::atomic_load(&theLoggersPlace());
}

base::Mutex thePathMutex;
std::string thePath PIS_GUARDED_BY(thePathMutex);  // of the log file, empty for standard error

void openFile(const std::string& path) PIS_REQUIRES(thePathMutex) {
    try {
        std::atomic_store(&theLoggersPlace(), loggerTo(std::make_shared<spdlog::sinks::basic_file_sink_mt>(path)));
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error("cannot write the log: " + std::string(error.what()));
    }
    thePath = path;
}

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list forLength;
    va_copy(forLength, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, forLength);
    va_end(forLength);
    if (length < 0) return format;  // not a format that can be filled; it still says something
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace

void HostLog::writeTo(const std::string& path) {
    const base::MutexLock lock(thePathMutex);
    openFile(path);
}

void HostLog::reopen() {
    const base::MutexLock lock(thePathMutex);
    if (!thePath.empty()) openFile(std::string(thePath));
}

void HostLog::say(const std::string& text) {
    const Logger logger = theLogger();
    logger->info("[info] {}", text);
    logger->flush();
}

void HostLog::warn(const std::string& text) {
    const Logger logger = theLogger();
    logger->warn("[warning] {}", text);
    logger->flush();
}

void HostLog::finish() {
    theLogger()->flush();
    const base::MutexLock lock(theFailureMutex);
    const std::string failure = std::exchange(theFailure, std::string());
    if (!failure.empty()) throw std::runtime_error("cannot write the log: " + failure);
}

void HostLog::setLevel(long level) {
    theLogLevel = level;
    debugLevel = level;
}

void HostLog::tellListenersUpTo(long level) {
    debugLevel = std::max(debugLevel, level);
}

}  // namespace pis::platform

using namespace pis::platform;

void debug(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    if (level <= theLogLevel) theLogger()->info("[debug {}] {}", level, text);
    if (HostCallListener* listener = hostCallListener()) listener->onDebug(level, text);
}

void handleError(int severity, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    theLogger()->error("[error {}] {}", severity, text);
    if (HostCallListener* listener = hostCallListener()) listener->onError(severity, text);
}
