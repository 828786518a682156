#pragma once

#include <functional>
#include <string>

// The platform log: one line to standard error and to syslog. Lines carry
// their own prefix where the caller wants one ("[Fendrel] Error 1: ...").
void KLLog(const std::string& line);

// Tests catch log lines; a null sink restores the default.
void KLSetLogSink(std::function<void(const std::string&)> sink);
