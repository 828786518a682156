#include "KLSettingValue.h"

#include "KLCliError.h"
#include "KLPasswordHash.h"
#include "KLPlistJSON.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace {

constexpr const char* kTakesBoolean = "Setting \"%s\" takes true or false";
constexpr const char* kTakesInteger = "Setting \"%s\" takes an integer";
constexpr const char* kTakesNumber = "Setting \"%s\" takes a number";
constexpr const char* kTakesArray = "Setting \"%s\" takes a JSON array, e.g. [\"a\", \"b\"]";
constexpr const char* kTakesDictionary = "Setting \"%s\" takes a JSON object";
constexpr const char* kBadJSON = "Setting \"%s\": the value is not valid JSON";
constexpr const char* kTakesHashKind = "Setting \"%s\" takes DES or bcrypt";

std::string message(const char* format, const std::string& key)
{
    std::string text(format);
    text.replace(text.find("%s"), 2, key);
    return text;
}

std::optional<bool> booleanText(const std::string& text)
{
    if (text == "true")
        return true;
    if (text == "false")
        return false;
    return std::nullopt;
}

std::optional<long long> integerText(const std::string& text)
{
    if (text.empty() || text.find_first_not_of("+-0123456789") != std::string::npos)
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    long long value = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0')
        return std::nullopt;
    return value;
}

std::optional<double> realText(const std::string& text)
{
    if (text.empty() || text.find_first_not_of("+-0123456789.eE") != std::string::npos)
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<KLPlist> jsonText(const std::string& text)
{
    nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded())
        return std::nullopt;
    return KLPlistJSON::fromJSON(json);
}

KLPlist jsonOfKind(const std::string& key, const std::string& text, KLPlist::Kind kind, const char* wrongKind)
{
    std::optional<KLPlist> value = jsonText(text);
    if (!value)
        throw KLCliError(KLExitStatus::Refused, message(kBadJSON, key));
    if (value->kind() != kind)
        throw KLCliError(KLExitStatus::Refused, message(wrongKind, key));
    return *value;
}

} // namespace

KLPlist KLSettingValue::infer(const std::string& text)
{
    if (std::optional<bool> flag = booleanText(text))
        return *flag;
    if (std::optional<long long> integer = integerText(text))
        return *integer;
    if (std::optional<double> real = realText(text))
        return *real;
    if (!text.empty() && (text.front() == '[' || text.front() == '{' || text.front() == '"')) {
        if (std::optional<KLPlist> value = jsonText(text))
            return *value;
    }
    return text;
}

KLPlist KLSettingValue::parse(const std::string& key, const std::string& text, const KLPlist& registeredDefault)
{
    // Stored as the name the pane's pop-up shows; any other text would
    // silently mean DES.
    if (key == KLPasswordHash::kSettingKey) {
        std::optional<KLPasswordHash::Kind> kind = KLPasswordHash::choice(text);
        if (!kind)
            throw KLCliError(KLExitStatus::Refused, message(kTakesHashKind, key));
        return KLPasswordHash::nameOf(*kind);
    }
    switch (registeredDefault.kind()) {
    case KLPlist::Kind::String:
        return text;
    case KLPlist::Kind::Boolean:
        if (std::optional<bool> flag = booleanText(text))
            return *flag;
        throw KLCliError(KLExitStatus::Refused, message(kTakesBoolean, key));
    case KLPlist::Kind::Integer:
        // Some integer settings are flags stored as 0 or 1; true/false fit them too.
        if (std::optional<long long> integer = integerText(text))
            return *integer;
        if (std::optional<bool> flag = booleanText(text))
            return *flag;
        throw KLCliError(KLExitStatus::Refused, message(kTakesInteger, key));
    case KLPlist::Kind::Real:
        if (std::optional<double> real = realText(text))
            return *real;
        throw KLCliError(KLExitStatus::Refused, message(kTakesNumber, key));
    case KLPlist::Kind::Array:
        return jsonOfKind(key, text, KLPlist::Kind::Array, kTakesArray);
    case KLPlist::Kind::Dictionary:
        return jsonOfKind(key, text, KLPlist::Kind::Dictionary, kTakesDictionary);
    default:
        return infer(text);
    }
}
