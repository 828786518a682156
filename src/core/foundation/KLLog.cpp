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
} // namespace

void KLLog(const std::string& line)
{
    std::lock_guard lock(logMutex());
    if (logSink()) {
        logSink()(line);
        return;
    }
    std::fprintf(stderr, "%s\n", line.c_str());
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

void KLSetLogSink(std::function<void(const std::string&)> sink)
{
    std::lock_guard lock(logMutex());
    logSink() = std::move(sink);
}
