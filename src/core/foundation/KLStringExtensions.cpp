#include "KLStringExtensions.h"

#include "KLByteWords.h"

#include <glob.h>

#include <cmath>
#include <cstdio>
#include <mutex>
#include <set>

namespace {

constexpr std::string_view kWhitespace = " \t\r\n";

// Decodes UTF-8 into code points so that removal works per character.
std::u32string toCodePoints(std::string_view s)
{
    std::u32string out;
    for (std::size_t i = 0; i < s.size();) {
        auto c = static_cast<unsigned char>(s[i]);
        int n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 1;
        if (i + n > s.size())
            n = 1;
        char32_t cp = n == 1 ? c : n == 2 ? (c & 0x1F) : n == 3 ? (c & 0x0F) : (c & 0x07);
        for (int k = 1; k < n; ++k)
            cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
        out.push_back(cp);
        i += n;
    }
    return out;
}

std::string sprintfString(const char* format, double value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

} // namespace

bool isASCII(std::string_view s)
{
    std::size_t i = 0;
    for (; i + 8 <= s.size(); i += 8) {
        if (KLByteWords::load(s.data() + i) & KLByteWords::kHighBits)
            return false;
    }
    for (; i < s.size(); ++i) {
        if (static_cast<unsigned char>(s[i]) >= 0x80)
            return false;
    }
    return true;
}

std::size_t countOf(std::string_view s, char c)
{
    const std::uint64_t pattern = KLByteWords::kOnes * static_cast<unsigned char>(c);
    std::size_t count = 0;
    std::size_t i = 0;
    for (; i + 8 <= s.size(); i += 8) {
        // The matches as one bit at the bottom of their bytes; the
        // multiplication sums the bytes into the top one (a call to popcount
        // is a library call on older CPUs).
        std::uint64_t matches = KLByteWords::zeroBytes(KLByteWords::load(s.data() + i) ^ pattern) >> 7;
        count += static_cast<std::size_t>((matches * KLByteWords::kOnes) >> 56);
    }
    for (; i < s.size(); ++i)
        count += s[i] == c;
    return count;
}

std::string stringByRemovingSurroundingWhitespace(std::string_view s)
{
    std::size_t first = s.find_first_not_of(kWhitespace);
    if (first == std::string_view::npos)
        return {};
    std::size_t last = s.find_last_not_of(kWhitespace);
    return std::string(s.substr(first, last - first + 1));
}

std::string stringByRemovingCharactersInString(std::string_view s, std::string_view set)
{
    // Built once, from whichever call comes first; later sets are ignored.
    static std::once_flag once;
    static std::set<char32_t> removed;
    std::call_once(once, [&] {
        for (char32_t c : toCodePoints(set))
            removed.insert(c);
    });
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size();) {
        auto c = static_cast<unsigned char>(s[i]);
        std::size_t n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 1;
        n = std::min(n, s.size() - i);
        std::string_view one = s.substr(i, n);
        if (!removed.count(toCodePoints(one).front()))
            out.append(one);
        i += n;
    }
    return out;
}

std::string stringByRemovingWhitespace(std::string_view s)
{
    return stringByRemovingCharactersInString(s, kWhitespace);
}

std::string stringByRemovingLeadingZero(std::string_view s)
{
    if (!s.empty() && s.front() == '0')
        return std::string(s.substr(1));
    return std::string(s);
}

std::string chop(std::string_view s)
{
    if (!s.empty() && s.back() == '\n')
        return std::string(s.substr(0, s.size() - 1));
    return std::string(s);
}

std::string addCommas(std::string_view digits)
{
    // Built front to back: the comma positions counted from the end, above 1.
    std::string out;
    out.reserve(digits.size() + digits.size() / 3);
    const long n = static_cast<long>(digits.size());
    for (long i = 0; i < n; ++i) {
        long fromEnd = n - i;
        if (i > 1 && fromEnd % 3 == 0)
            out += ',';
        out += digits[static_cast<std::size_t>(i)];
    }
    return out;
}

std::string regexWithLooseSpaces(std::string_view phrase)
{
    std::string out = "\\s*";
    for (char c : phrase) {
        if (c == ' ')
            out += "\\s+";
        else
            out += c;
    }
    return out;
}

std::string stripHeaders(std::string_view text)
{
    std::size_t at = text.find("<?xml");
    return std::string(at == std::string_view::npos ? text.substr(text.size()) : text.substr(at));
}

std::optional<std::vector<std::string>> glob(const std::string& pattern)
{
    if (pattern.empty() || pattern.front() != '/')
        return std::nullopt;
    return globRelativeTo(pattern, std::nullopt);
}

std::vector<std::string> globRelativeTo(const std::string& pattern, const std::optional<std::string>& base)
{
    std::string full = pattern;
    if (base && (pattern.empty() || pattern.front() != '/'))
        full = stringByAppendingPathComponent(*base, pattern);
    std::vector<std::string> matches;
    glob_t g{};
    if (::glob(full.c_str(), GLOB_NOSORT, nullptr, &g) == 0) {
        for (std::size_t i = 0; i < g.gl_pathc; ++i)
            matches.emplace_back(g.gl_pathv[i]);
    }
    ::globfree(&g);
    return matches;
}

std::string stringForBytes(std::uint64_t n)
{
    if (n == 0)
        return "0 bytes";
    int e = static_cast<int>(std::floor(std::log(static_cast<double>(n)) / std::log(1024.0)));
    switch (e) {
    case 0:
        return std::to_string(n) + " bytes";
    case 1:
        return sprintfString("%.0f KB", static_cast<double>(n) / 1024.0);
    case 2:
        return sprintfString("%.1f MB", static_cast<double>(n) / (1024.0 * 1024.0));
    case 3:
        return sprintfString("%.2f GB", static_cast<double>(n) / (1024.0 * 1024.0 * 1024.0));
    case 4:
        return sprintfString("%.3f TB", static_cast<double>(n >> 20) / (1024.0 * 1024.0));
    default:
        return "Really Big";
    }
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component)
{
    if (path.empty())
        return std::string(component);
    std::string out;
    out.reserve(path.size() + 1 + component.size()); // one allocation
    out.assign(path);
    while (out.size() > 1 && out.back() == '/')
        out.pop_back();
    std::size_t skip = 0;
    while (skip < component.size() && component[skip] == '/')
        ++skip;
    if (skip == component.size())
        return out;
    if (out.back() != '/')
        out += '/';
    out.append(component.substr(skip));
    while (out.size() > 1 && out.back() == '/')
        out.pop_back();
    return out;
}

std::string lastPathComponent(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    if (path == "/")
        return "/";
    std::size_t slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string stringByDeletingLastPathComponent(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return {};
    if (slash == 0)
        return "/";
    path = path.substr(0, slash);
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return std::string(path);
}

std::vector<std::string> pathComponents(std::string_view path)
{
    std::vector<std::string> parts;
    if (!path.empty() && path.front() == '/')
        parts.emplace_back("/");
    std::size_t i = 0;
    while (i < path.size()) {
        std::size_t j = path.find('/', i);
        if (j == std::string_view::npos)
            j = path.size();
        if (j > i)
            parts.emplace_back(path.substr(i, j - i));
        i = j + 1;
    }
    return parts;
}

std::string pathWithComponents(const std::vector<std::string>& components)
{
    std::string out;
    for (const std::string& c : components)
        out = out.empty() ? c : stringByAppendingPathComponent(out, c);
    return out;
}
