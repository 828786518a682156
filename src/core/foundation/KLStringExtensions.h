#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// String helpers with the exact results their callers rely on. "White space"
// here is always the four characters " \t\r\n".

std::string stringByRemovingSurroundingWhitespace(std::string_view s);
// Whether every byte is below 0x80; eight at a time, as whole files are asked.
bool isASCII(std::string_view s);
// How many bytes are `c`, eight at a time (lines or members of a whole file).
std::size_t countOf(std::string_view s, char c);
// The set of removed characters is built from the argument of the very first
// call in the process and reused by every later call, whatever they pass.
std::string stringByRemovingCharactersInString(std::string_view s, std::string_view set);
std::string stringByRemovingWhitespace(std::string_view s);
// Removes one leading "0". The string must not be empty.
std::string stringByRemovingLeadingZero(std::string_view s);
// Removes one final line feed.
std::string chop(std::string_view s);
// Commas at length-3, length-6, ... while the position is above 1.
std::string addCommas(std::string_view digits);
// "\\s*" in front and every single space replaced by "\\s+".
std::string regexWithLooseSpaces(std::string_view phrase);
// The text from the first "<?xml" on; the text must contain it.
std::string stripHeaders(std::string_view text);
// Wildcard expansion: absolute patterns only (nothing for a relative one).
std::optional<std::vector<std::string>> glob(const std::string& pattern);
// A relative pattern is taken below the base folder; matches in glob's order.
std::vector<std::string> globRelativeTo(const std::string& pattern, const std::optional<std::string>& base);
// "0 bytes", "1023 bytes", "2 KB", "1.0 MB", "1.00 GB", "1.000 TB", "Really Big".
std::string stringForBytes(std::uint64_t bytes);

// Path helpers in the platform's manner: "a" + "b" is "a/b", no doubled "/".
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
std::string lastPathComponent(std::string_view path);
// "/a/b" is "/a", "/a" is "/", "b" is "" (trailing slashes ignored).
std::string stringByDeletingLastPathComponent(std::string_view path);
std::vector<std::string> pathComponents(std::string_view path);
std::string pathWithComponents(const std::vector<std::string>& components);

// printf-style formatting into a string; callers' "%@" texts use "%s" with
// c_str() arguments. Always give at least one argument.
template <class... Args>
std::string stringWithFormat(const char* format, Args... args)
{
    int size = std::snprintf(nullptr, 0, format, args...);
    if (size <= 0)
        return {};
    std::string text(static_cast<std::size_t>(size), '\0');
    std::snprintf(text.data(), text.size() + 1, format, args...);
    return text;
}
