#include "support/log.h"

#include <syslog.h>
#include <mutex>
#include <string>

namespace orvane {
namespace {
std::mutex gMutex;
LogSink gSink;
const char* gIdent = "Orvane";
bool gOpened = false;
bool gStandardError = false;

// The ident and flags take effect when the log is opened, so a change closes it. Called locked.
void reopenAtNextLine() {
    if (gOpened) {
        closelog();
        gOpened = false;
    }
}
}  // namespace

void logLine(std::string_view function, std::string_view message) {
    std::string line;
    line.reserve(function.size() + 1 + message.size());
    line.append(function).append(" ").append(message);
    std::lock_guard lock(gMutex);
    if (gSink) {
        gSink(line);
        return;
    }
    if (!gOpened) {
        openlog(gIdent, LOG_PID | (gStandardError ? LOG_PERROR : 0), LOG_USER);
        gOpened = true;
    }
    syslog(LOG_NOTICE, "%s", line.c_str());
}

LogSink setLogSink(LogSink sink) {
    std::lock_guard lock(gMutex);
    LogSink previous = std::move(gSink);
    gSink = std::move(sink);
    return previous;
}

void setLogIdent(const char* ident) {
    std::lock_guard lock(gMutex);
    gIdent = ident;
    reopenAtNextLine();
}

void setLogToStandardError(bool on) {
    std::lock_guard lock(gMutex);
    gStandardError = on;
    reopenAtNextLine();
}

}  // namespace orvane
