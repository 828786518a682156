#pragma once

#include "KLPlist.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

// Property-list values as JSON and back, for settings on the command line.
// Dates become seconds since the reference date, data a string of hex digits.
class KLPlistJSON
{
public:
    static nlohmann::json toJSON(const KLPlist& value);
    // Nothing for a JSON null anywhere in the value (a setting cannot hold one).
    static std::optional<KLPlist> fromJSON(const nlohmann::json& json);
    // Text for people: strings as they are, booleans as true/false, numbers in
    // decimal, arrays and dictionaries as compact JSON.
    static std::string displayText(const KLPlist& value);
};
