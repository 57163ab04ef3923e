// Diagnostic lines for the system log: the full name of the function that logs, one blank, the
// message. They go to syslog(3) unless a test (or another front end) swaps in its own sink.
#pragma once

#include <functional>
#include <string_view>

namespace orvane {

using LogSink = std::function<void(std::string_view line)>;

// Logs "<function> <message>", e.g. "-[BookmarksDocument dataOfType:error:] Error writing to file: ...".
void logLine(std::string_view function, std::string_view message);

// Replaces the sink and answers the previous one; an empty sink restores syslog.
LogSink setLogSink(LogSink sink);

// The syslog ident: "Orvane" unless the program says otherwise ("OrvaneHelper").
void setLogIdent(const char* ident);

// Desktop programs also copy each line to standard error, where a person starting them from a
// terminal (or a session's journal) sees it; orvane-cli keeps its standard error for its own
// messages.
void setLogToStandardError(bool on);

// Swaps in a sink for the lifetime of a scope, then puts the previous one back.
class ScopedLogSink {
public:
    explicit ScopedLogSink(LogSink sink) : previous_(setLogSink(std::move(sink))) {}
    ~ScopedLogSink() { setLogSink(std::move(previous_)); }
    ScopedLogSink(const ScopedLogSink&) = delete;
    ScopedLogSink& operator=(const ScopedLogSink&) = delete;

private:
    LogSink previous_;
};

}  // namespace orvane
