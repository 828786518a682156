#include "KLCliOutput.h"

#include <cstdio>

namespace {
constexpr const char* kWarningPrefix = "fendrelctl: warning: ";
}

void KLCliOutput::emit(const nlohmann::json& value, const std::string& text)
{
    emitWritten(json_ ? value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) : std::string(), text);
}

void KLCliOutput::emitWritten(std::string json, std::string text)
{
    std::string piece = json_ ? std::move(json) : std::move(text);
    if (!json_ && piece.empty())
        return;
    if (json_ || piece.back() != '\n')
        piece += '\n';
    pending_.push_back([piece = std::move(piece)](std::FILE* stream) {
        std::fwrite(piece.data(), 1, piece.size(), stream);
    });
}

void KLCliOutput::emitJSONBy(Writer write)
{
    if (!json_)
        return;
    pending_.push_back([write = std::move(write)](std::FILE* stream) {
        write(stream);
        std::fputc('\n', stream);
    });
}

void KLCliOutput::warn(const std::string& line)
{
    warnings_ += kWarningPrefix + line + "\n";
}

void KLCliOutput::flush()
{
    std::fputs(warnings_.c_str(), stderr);
    warnings_.clear();
    for (const Writer& write : pending_)
        write(stdout);
    std::fflush(stdout);
    pending_.clear();
}
