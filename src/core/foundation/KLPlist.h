#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// A property-list value: string, data, integer, real, boolean, date, array or
// dictionary (or null, the absence of a value). Settings, notification user
// info, the update reply and the error table all use it. Value semantics:
// copying a value copies its contents.
class KLPlist
{
public:
    enum class Kind { Null, String, Data, Integer, Real, Boolean, Date, Array, Dictionary };

    using Array = std::vector<KLPlist>;
    using Dictionary = std::map<std::string, KLPlist>;
    using Data = std::vector<std::uint8_t>;
    // Seconds since the reference date 2001-01-01 00:00:00 UTC.
    struct Date
    {
        double seconds = 0;
        bool operator==(const Date&) const = default;
    };

    KLPlist() = default;
    KLPlist(std::nullptr_t) {}
    KLPlist(const char* s) : value_(std::string(s)) {}
    KLPlist(std::string s) : value_(std::move(s)) {}
    KLPlist(std::string_view s) : value_(std::string(s)) {}
    KLPlist(bool b) : value_(b) {}
    KLPlist(int i) : value_(std::int64_t(i)) {}
    KLPlist(long i) : value_(std::int64_t(i)) {}
    KLPlist(long long i) : value_(std::int64_t(i)) {}
    KLPlist(unsigned i) : value_(std::int64_t(i)) {}
    KLPlist(unsigned long i) : value_(std::int64_t(i)) {}
    KLPlist(double d) : value_(d) {}
    KLPlist(float d) : value_(double(d)) {}
    KLPlist(Data d) : value_(std::move(d)) {}
    KLPlist(Date d) : value_(d) {}
    KLPlist(Array a) : value_(std::move(a)) {}
    KLPlist(Dictionary d) : value_(std::move(d)) {}
    static KLPlist stringArray(const std::vector<std::string>& strings);

    Kind kind() const { return static_cast<Kind>(value_.index()); }
    bool isNull() const { return kind() == Kind::Null; }
    bool isString() const { return kind() == Kind::String; }
    bool isNumber() const { return kind() == Kind::Integer || kind() == Kind::Real || kind() == Kind::Boolean; }
    bool isArray() const { return kind() == Kind::Array; }
    bool isDictionary() const { return kind() == Kind::Dictionary; }

    // Exact accessors: the stored value of that kind, or nullptr.
    const std::string* string() const { return std::get_if<std::string>(&value_); }
    const Data* data() const { return std::get_if<Data>(&value_); }
    const Date* date() const { return std::get_if<Date>(&value_); }
    const Array* array() const { return std::get_if<Array>(&value_); }
    Array* array() { return std::get_if<Array>(&value_); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&value_); }
    Dictionary* dictionary() { return std::get_if<Dictionary>(&value_); }

    // Readings as the platform's number and string conversions give them.
    // Numbers and booleans convert among themselves; a string is read as a
    // number from its leading digits ("12abc" is 12) and as a boolean when it
    // starts with Y, y, T, t or a non-zero digit. Other kinds have no reading.
    std::optional<bool> boolReading() const;
    std::optional<std::int64_t> integerReading() const;
    std::optional<double> doubleReading() const;

    // The text a description of the value shows: strings as they are, numbers
    // in decimal, booleans as 1 or 0, other kinds in a readable form.
    std::string description() const;

    // Dictionary member access; a missing key or a non-dictionary gives null.
    const KLPlist& operator[](const std::string& key) const;

    bool operator==(const KLPlist& other) const { return value_ == other.value_; }

    // XML property list text. Parsing returns nothing for text that is not a
    // property list, or that nests arrays and dictionaries deeper than
    // KLPlistNesting::kMaxDepth levels; it never throws.
    std::string toXML() const;
    static std::optional<KLPlist> fromXML(std::string_view xml);
    // Any format libplist reads (XML or binary).
    static std::optional<KLPlist> fromBytes(std::string_view bytes);

private:
    std::variant<std::monostate, std::string, Data, std::int64_t, double, bool, Date, Array, Dictionary> value_;
};
