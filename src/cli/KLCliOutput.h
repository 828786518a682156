#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

// Standard output of a command: JSON under --json, plain text otherwise.
// It is held back until the command has succeeded, so a command that fails
// late prints only its error line; so are warnings, which go to standard
// error whatever the format.
class KLCliOutput
{
public:
    void setJSON(bool json) { json_ = json; }
    bool isJSON() const { return json_; }
    // Keeps the value as JSON or the text (a line end is added to text that
    // has none; empty text adds nothing).
    void emit(const nlohmann::json& value, const std::string& text);
    // The same with the JSON already written out as text. Kept as given, not
    // copied.
    void emitWritten(std::string json, std::string text);
    // JSON that `write` puts on the stream it is given, called only when the
    // command has succeeded: a list of many users is megabytes, better not
    // held in memory.
    using Writer = std::function<void(std::FILE* stream)>;
    void emitJSONBy(Writer write);
    // Keeps one line for standard error, marked as a warning.
    void warn(const std::string& line);
    // Prints what was kept.
    void flush();

private:
    bool json_ = false;
    std::vector<Writer> pending_;
    std::string warnings_;
};
