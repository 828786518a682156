#include "KLLog.h"

#include <syslog.h>

#include <cstdio>
#include <mutex>

namespace {
std::mutex& logMutex()
{
    static std::mutex m;
    return m;
}
std::function<void(const std::string&)>& logSink()
{
    static std::function<void(const std::string&)> sink;
    return sink;
}

// With the log's mutex held.
void writeLine(const std::string& line)
{
    if (logSink()) {
        logSink()(line);
        return;
    }
    std::fprintf(stderr, "%s\n", line.c_str());
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

} // namespace

void KLLog(const std::string& line)
{
    std::lock_guard lock(logMutex());
    writeLine(line);
}

void KLLog(std::string_view prefix, std::string_view rest)
{
    std::lock_guard lock(logMutex());
    // Keeps its room from line to line; never destroyed, as logging may
    // outlive static objects.
    static std::string& line = *new std::string;
    line.assign(prefix).append(rest);
    writeLine(line);
}

void KLSetLogSink(std::function<void(const std::string&)> sink)
{
    std::lock_guard lock(logMutex());
    logSink() = std::move(sink);
}
