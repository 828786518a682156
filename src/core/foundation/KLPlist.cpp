#include "KLPlist.h"

#include "KLPlistNesting.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

struct PlistDeleter
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

plist_t toNode(const KLPlist& value)
{
    switch (value.kind()) {
    case KLPlist::Kind::Null:
        return nullptr;
    case KLPlist::Kind::String:
        return plist_new_string(value.string()->c_str());
    case KLPlist::Kind::Data: {
        const auto& d = *value.data();
        return plist_new_data(reinterpret_cast<const char*>(d.data()), d.size());
    }
    case KLPlist::Kind::Integer:
        return plist_new_uint(static_cast<std::uint64_t>(*value.integerReading()));
    case KLPlist::Kind::Real:
        return plist_new_real(*value.doubleReading());
    case KLPlist::Kind::Boolean:
        return plist_new_bool(*value.boolReading() ? 1 : 0);
    case KLPlist::Kind::Date: {
        // libplist keeps dates relative to the reference date as well.
        // Whole seconds are 32 bits there: a date a file put further out is
        // held at the nearest end of that range.
        double s = value.date()->seconds;
        s = std::isfinite(s) ? std::clamp(s, double(INT32_MIN), double(INT32_MAX)) : 0.0;
        double whole = std::floor(s);
        return plist_new_date(static_cast<int32_t>(whole), static_cast<int32_t>((s - whole) * 1e6));
    }
    case KLPlist::Kind::Array: {
        plist_t array = plist_new_array();
        for (const KLPlist& item : *value.array()) {
            if (plist_t child = toNode(item))
                plist_array_append_item(array, child);
        }
        return array;
    }
    case KLPlist::Kind::Dictionary: {
        plist_t dict = plist_new_dict();
        for (const auto& [key, item] : *value.dictionary()) {
            if (plist_t child = toNode(item))
                plist_dict_set_item(dict, key.c_str(), child);
        }
        return dict;
    }
    }
    return nullptr;
}

KLPlist fromNode(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        // Not plist_get_string_val: it asserts that the string holds no NUL,
        // which a file may well contain ("&#0;"), and so would end the program.
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        return s ? std::string(s, length) : std::string();
    }
    case PLIST_KEY: {
        char* s = nullptr;
        plist_get_key_val(node, &s);
        std::string result = s ? s : "";
        std::free(s);
        return result;
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        KLPlist::Data data(bytes, bytes + length);
        std::free(bytes);
        return data;
    }
    case PLIST_UINT: {
        uint64_t v = 0;
        plist_get_uint_val(node, &v);
        // libplist stores negative integers as their two's complement.
        return static_cast<long long>(static_cast<std::int64_t>(v));
    }
    case PLIST_REAL: {
        double v = 0;
        plist_get_real_val(node, &v);
        return v;
    }
    case PLIST_BOOLEAN: {
        uint8_t v = 0;
        plist_get_bool_val(node, &v);
        return v != 0;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        return KLPlist::Date{sec + usec / 1e6};
    }
    case PLIST_ARRAY: {
        KLPlist::Array array;
        uint32_t n = plist_array_get_size(node);
        array.reserve(n);
        for (uint32_t i = 0; i < n; ++i)
            array.push_back(fromNode(plist_array_get_item(node, i)));
        return array;
    }
    case PLIST_DICT: {
        KLPlist::Dictionary dict;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, it, &key, &item);
            if (!item) {
                std::free(key);
                break;
            }
            dict[key ? key : ""] = fromNode(item);
            std::free(key);
        }
        std::free(it);
        return dict;
    }
    default:
        return {};
    }
}

// The number at the start of a string, as the platform's string reading gives it.
std::optional<double> leadingNumber(const std::string& s)
{
    const char* begin = s.c_str();
    while (*begin == ' ' || *begin == '\t' || *begin == '\n' || *begin == '\r')
        ++begin;
    char* end = nullptr;
    double v = std::strtod(begin, &end);
    if (end == begin)
        return 0.0;
    return v;
}

} // namespace

KLPlist KLPlist::stringArray(const std::vector<std::string>& strings)
{
    Array array(strings.begin(), strings.end());
    return array;
}

std::optional<bool> KLPlist::boolReading() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(value_);
    case Kind::Integer:
        return std::get<std::int64_t>(value_) != 0;
    case Kind::Real:
        return std::get<double>(value_) != 0.0;
    case Kind::String: {
        const std::string& s = std::get<std::string>(value_);
        std::size_t i = s.find_first_not_of(" \t\r\n");
        if (i == std::string::npos)
            return false;
        // Sign and leading zeros do not decide; the first other character does.
        if (s[i] == '+' || s[i] == '-')
            ++i;
        while (i < s.size() && s[i] == '0')
            ++i;
        if (i >= s.size())
            return false;
        char c = s[i];
        return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    default:
        return std::nullopt;
    }
}

std::optional<std::int64_t> KLPlist::integerReading() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(value_) ? 1 : 0;
    case Kind::Integer:
        return std::get<std::int64_t>(value_);
    case Kind::Real:
        return static_cast<std::int64_t>(std::get<double>(value_));
    case Kind::String:
        return static_cast<std::int64_t>(*leadingNumber(std::get<std::string>(value_)));
    default:
        return std::nullopt;
    }
}

std::optional<double> KLPlist::doubleReading() const
{
    switch (kind()) {
    case Kind::Boolean:
        return std::get<bool>(value_) ? 1.0 : 0.0;
    case Kind::Integer:
        return static_cast<double>(std::get<std::int64_t>(value_));
    case Kind::Real:
        return std::get<double>(value_);
    case Kind::String:
        return leadingNumber(std::get<std::string>(value_));
    default:
        return std::nullopt;
    }
}

std::string KLPlist::description() const
{
    switch (kind()) {
    case Kind::Null:
        return "(null)";
    case Kind::String:
        return std::get<std::string>(value_);
    case Kind::Integer:
        return std::to_string(std::get<std::int64_t>(value_));
    case Kind::Boolean:
        return std::get<bool>(value_) ? "1" : "0";
    case Kind::Real: {
        std::ostringstream out;
        out << std::get<double>(value_);
        return out.str();
    }
    case Kind::Date: {
        std::ostringstream out;
        out << std::get<Date>(value_).seconds;
        return out.str();
    }
    case Kind::Data:
        return "<" + std::to_string(std::get<Data>(value_).size()) + " bytes>";
    case Kind::Array: {
        std::string s = "(";
        const Array& a = std::get<Array>(value_);
        for (std::size_t i = 0; i < a.size(); ++i)
            s += (i ? ", " : "") + a[i].description();
        return s + ")";
    }
    case Kind::Dictionary: {
        std::string s = "{";
        for (const auto& [k, v] : std::get<Dictionary>(value_))
            s += k + " = " + v.description() + "; ";
        return s + "}";
    }
    }
    return {};
}

const KLPlist& KLPlist::operator[](const std::string& key) const
{
    static const KLPlist null;
    if (const Dictionary* d = dictionary()) {
        auto it = d->find(key);
        if (it != d->end())
            return it->second;
    }
    return null;
}

std::string KLPlist::toXML() const
{
    PlistPtr node(toNode(*this));
    if (!node)
        node.reset(plist_new_dict());
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &xml, &length);
    std::string result(xml ? xml : "", length);
    std::free(xml);
    return result;
}

std::optional<KLPlist> KLPlist::fromXML(std::string_view xml)
{
    if (xml.empty() || xml.size() > UINT32_MAX || !KLPlistNesting::xmlIsWithin(xml))
        return std::nullopt;
    plist_t node = nullptr;
    plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &node);
    if (!node)
        return std::nullopt;
    PlistPtr owner(node);
    return fromNode(node);
}

std::optional<KLPlist> KLPlist::fromBytes(std::string_view bytes)
{
    if (bytes.empty() || bytes.size() > UINT32_MAX || !KLPlistNesting::isWithin(bytes))
        return std::nullopt;
    plist_t node = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &node);
    if (!node)
        return std::nullopt;
    PlistPtr owner(node);
    return fromNode(node);
}
