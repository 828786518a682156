#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A forward-only scanner over UTF-8 text, in the manner the credential file
// readers rely on: with the white-space skip set, white space and line ends
// (Unicode's White_Space) are passed over before every scan and do not count
// when asking whether the end is reached; with no skip set nothing is passed
// over. A scan that finds nothing leaves the position where it was.
class KLScanner
{
public:
    enum class Skip { None, WhitespaceAndNewlines };

    KLScanner(std::string_view text, Skip skip) : text_(text), skip_(skip) {}

    bool isAtEnd() const;
    std::size_t scanLocation() const { return pos_; }

    // Everything up to (not including) the next `stop`, or up to the end when
    // there is none. False, and no move, when that would be nothing.
    bool scanUpToString(std::string_view stop, std::string& into);
    // The same as a view into the scanned text, for readers that copy less.
    bool scanUpToString(std::string_view stop, std::string_view& into);
    bool scanUpToString(std::string_view stop);
    // Passes over `literal` when it comes next.
    bool scanString(std::string_view literal);
    // Passes over the rest of the current line and its line feed.
    void skipLine();

    static bool isWhitespaceOrNewline(char32_t c);
    static bool containsWhitespaceOrNewline(std::string_view text);

private:
    std::size_t skipped(std::size_t from) const;
    // Where the text up to `stop` begins and ends; false, and no move, for nothing.
    bool scanUpTo(std::string_view stop, std::size_t& start, std::size_t& end);

    std::string_view text_;
    Skip skip_;
    std::size_t pos_ = 0;
};
