#pragma once

#include <nlohmann/json.hpp>

#include <string>

// Standard output of a command: JSON under --json, plain text otherwise.
class KLCliOutput
{
public:
    void setJSON(bool json) { json_ = json; }
    bool isJSON() const { return json_; }
    // Prints the value as JSON or the text (a line end is added to text
    // that has none; empty text prints nothing).
    void emit(const nlohmann::json& value, const std::string& text) const;

private:
    bool json_ = false;
};
