#include "KLCliOutput.h"

#include <cstdio>

namespace {
constexpr const char* kWarningPrefix = "fendrelctl: warning: ";
}

void KLCliOutput::emit(const nlohmann::json& value, const std::string& text)
{
    emitWritten(json_ ? value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) : std::string(), text);
}

void KLCliOutput::emitWritten(const std::string& json, const std::string& text)
{
    if (json_) {
        pending_ += json;
        pending_ += '\n';
    } else if (!text.empty()) {
        pending_ += text;
        if (text.back() != '\n')
            pending_ += '\n';
    }
}

void KLCliOutput::warn(const std::string& line)
{
    warnings_ += kWarningPrefix + line + "\n";
}

void KLCliOutput::flush()
{
    std::fputs(warnings_.c_str(), stderr);
    warnings_.clear();
    std::fputs(pending_.c_str(), stdout);
    std::fflush(stdout);
    pending_.clear();
}
