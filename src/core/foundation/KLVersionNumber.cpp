#include "KLVersionNumber.h"

#include "KLLog.h"

#include <algorithm>
#include <cctype>
#include <climits>

namespace {

bool isSkipped(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// A decimal integer with an optional sign at the scanner's position, after
// skipping white space; the position moves only when one was read. Values
// past the 32-bit range saturate.
bool scanInt(const std::string& s, std::size_t& pos, long long& value)
{
    std::size_t i = pos;
    while (i < s.size() && isSkipped(s[i]))
        ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
        negative = s[i] == '-';
        ++i;
    }
    if (i >= s.size() || !isDigit(s[i]))
        return false;
    long long v = 0;
    while (i < s.size() && isDigit(s[i])) {
        v = std::min<long long>(v * 10 + (s[i] - '0'), 1LL << 40);
        ++i;
    }
    v = negative ? -v : v;
    value = std::clamp<long long>(v, INT_MIN, INT_MAX);
    pos = i;
    return true;
}

} // namespace

const std::vector<std::string>& KLVersionNumber::dividers()
{
    static const std::vector<std::string> list = {"d", "a", "b", "dp", "dr", "fc", "r", "."};
    return list;
}

std::unique_ptr<KLVersionNumber> KLVersionNumber::versionWithString(const std::string& version)
{
    if (version.empty())
        return nullptr;
    return std::make_unique<KLVersionNumber>(version);
}

KLVersionNumber::KLVersionNumber(const std::string& version) : versionString_(version)
{
    parseString(version);
}

void KLVersionNumber::parseString(const std::string& s)
{
    std::size_t pos = 0;
    auto atEnd = [&] {
        std::size_t i = pos;
        while (i < s.size() && isSkipped(s[i]))
            ++i;
        return i >= s.size();
    };
    std::string error;
    while (!atEnd()) {
        long long value = 0;
        if (scanInt(s, pos, value)) {
            if (value < 0) {
                error = "Invalid value '" + std::to_string(value) + "' in version string";
                break;
            }
            tokens_.emplace_back(static_cast<std::int32_t>(value));
            continue;
        }
        if (tokens_.empty())
            tokens_.emplace_back(std::int32_t(0));
        while (pos < s.size() && isSkipped(s[pos]))
            ++pos;
        std::size_t start = pos;
        while (pos < s.size() && !isDigit(s[pos]))
            ++pos;
        std::string text = s.substr(start, pos - start);
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (std::find(dividers().begin(), dividers().end(), text) == dividers().end()) {
            error = "Invalid characters '" + text + "' in version string";
            break;
        }
        tokens_.emplace_back(text);
    }
    if (!error.empty()) {
        KLLog(error);
        tokens_.clear();
    }
}

std::string KLVersionNumber::description() const
{
    std::string out;
    for (const Token& t : tokens_) {
        if (const auto* n = std::get_if<std::int32_t>(&t))
            out += std::to_string(*n);
        else
            out += std::get<std::string>(t);
    }
    return out;
}

std::int32_t KLVersionNumber::nextToken()
{
    std::int32_t at = cursor_++;
    if (at < 0 || at >= numberOfTokens())
        return 0;
    const Token& t = tokens_[static_cast<std::size_t>(at)];
    if (const auto* n = std::get_if<std::int32_t>(&t))
        return *n;
    const auto& list = dividers();
    return static_cast<std::int32_t>(std::find(list.begin(), list.end(), std::get<std::string>(t)) - list.begin());
}

int KLVersionNumber::compare(KLVersionNumber& other)
{
    int n = numberOfTokens();
    int m = other.numberOfTokens();
    if (n < m)
        return -other.compare(*this);
    for (int i = 0; i < n; ++i) {
        std::int32_t mine = nextToken();
        std::int32_t theirs = other.nextToken();
        if (mine != theirs)
            return mine > theirs ? 1 : -1;
    }
    if (n == m)
        return 0;
    // All pairs equal and this version is longer: one more token decides,
    // and as the cursor is past the end it reads 0, so the longer one is older.
    return nextToken() == 7 ? 1 : -1;
}
