#include "KLPlistJSON.h"

#include <cstdio>

nlohmann::json KLPlistJSON::toJSON(const KLPlist& value)
{
    switch (value.kind()) {
    case KLPlist::Kind::Null:
        return nullptr;
    case KLPlist::Kind::String:
        return *value.string();
    case KLPlist::Kind::Data: {
        std::string hex;
        for (std::uint8_t byte : *value.data()) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", byte);
            hex += digits;
        }
        return hex;
    }
    case KLPlist::Kind::Integer:
        return *value.integerReading();
    case KLPlist::Kind::Real:
        return *value.doubleReading();
    case KLPlist::Kind::Boolean:
        return *value.boolReading();
    case KLPlist::Kind::Date:
        return value.date()->seconds;
    case KLPlist::Kind::Array: {
        nlohmann::json array = nlohmann::json::array();
        for (const KLPlist& element : *value.array())
            array.push_back(toJSON(element));
        return array;
    }
    case KLPlist::Kind::Dictionary: {
        nlohmann::json object = nlohmann::json::object();
        for (const auto& [key, element] : *value.dictionary())
            object[key] = toJSON(element);
        return object;
    }
    }
    return nullptr;
}

std::optional<KLPlist> KLPlistJSON::fromJSON(const nlohmann::json& json)
{
    switch (json.type()) {
    case nlohmann::json::value_t::string:
        return KLPlist(json.get<std::string>());
    case nlohmann::json::value_t::boolean:
        return KLPlist(json.get<bool>());
    case nlohmann::json::value_t::number_integer:
        return KLPlist(json.get<long long>());
    case nlohmann::json::value_t::number_unsigned:
        return KLPlist(static_cast<long long>(json.get<unsigned long long>()));
    case nlohmann::json::value_t::number_float:
        return KLPlist(json.get<double>());
    case nlohmann::json::value_t::array: {
        KLPlist::Array array;
        for (const nlohmann::json& element : json) {
            std::optional<KLPlist> converted = fromJSON(element);
            if (!converted)
                return std::nullopt;
            array.push_back(std::move(*converted));
        }
        return KLPlist(std::move(array));
    }
    case nlohmann::json::value_t::object: {
        KLPlist::Dictionary dictionary;
        for (const auto& [key, element] : json.items()) {
            std::optional<KLPlist> converted = fromJSON(element);
            if (!converted)
                return std::nullopt;
            dictionary.emplace(key, std::move(*converted));
        }
        return KLPlist(std::move(dictionary));
    }
    default:
        return std::nullopt;
    }
}

std::string KLPlistJSON::displayText(const KLPlist& value)
{
    if (const std::string* text = value.string())
        return *text;
    return toJSON(value).dump();
}
