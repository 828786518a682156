#include "KLCliOutput.h"

#include <cstdio>

void KLCliOutput::emit(const nlohmann::json& value, const std::string& text) const
{
    if (json_) {
        std::string out = value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
        std::fprintf(stdout, "%s\n", out.c_str());
    } else if (!text.empty()) {
        std::fputs(text.c_str(), stdout);
        if (text.back() != '\n')
            std::fputc('\n', stdout);
    }
    std::fflush(stdout);
}
