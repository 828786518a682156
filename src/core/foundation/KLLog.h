#pragma once

#include <functional>
#include <string>
#include <string_view>

// The platform log: one line to standard error and to syslog. Lines carry
// their own prefix where the caller wants one ("[Fendrel] Error 1: ...").
void KLLog(const std::string& line);
// The same for a line in two pieces, joined without an allocation of its
// own: for lines logged by the thousand.
void KLLog(std::string_view prefix, std::string_view rest);

// Tests catch log lines; a null sink restores the default.
void KLSetLogSink(std::function<void(const std::string&)> sink);
