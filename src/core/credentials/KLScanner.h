#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A forward-only scanner over UTF-8 text, in the manner the credential file
// readers rely on: with the white-space skip set, white space and line ends
// (Unicode's White_Space) are passed over before every scan and do not count
// when asking whether the end is reached; with no skip set nothing is passed
// over. A scan that finds nothing leaves the position where it was. The
// common steps are inline: the users reader makes several per line of a
// file that may hold 100,000 lines.
class KLScanner
{
public:
    enum class Skip { None, WhitespaceAndNewlines };

    KLScanner(std::string_view text, Skip skip) : text_(text), skip_(skip) {}

    bool isAtEnd() const { return skipped(pos_) >= text_.size(); }
    std::size_t scanLocation() const { return pos_; }
    // Moves on to `location`, past a stretch a reader took by hand.
    void setScanLocation(std::size_t location) { pos_ = location; }

    // Everything up to (not including) the next `stop`, or up to the end when
    // there is none. False, and no move, when that would be nothing.
    bool scanUpToString(std::string_view stop, std::string& into);
    // The same as a view into the scanned text, for readers that copy less.
    bool scanUpToString(std::string_view stop, std::string_view& into)
    {
        std::size_t start = 0;
        std::size_t end = 0;
        if (!scanUpTo(stop, start, end))
            return false;
        into = text_.substr(start, end - start);
        return true;
    }
    bool scanUpToString(std::string_view stop);
    // Passes over `literal` when it comes next.
    bool scanString(std::string_view literal)
    {
        std::size_t start = skipped(pos_);
        if (text_.substr(start).substr(0, literal.size()) != literal)
            return false;
        pos_ = start + literal.size();
        return true;
    }
    // Passes over the rest of the current line and its line feed.
    void skipLine();

    static bool isWhitespaceOrNewline(char32_t c);
    static bool containsWhitespaceOrNewline(std::string_view text);

private:
    std::size_t skipped(std::size_t from) const
    {
        // Most scans start on a printable ASCII character.
        if (skip_ == Skip::None || (from < text_.size() && text_[from] > ' ' && text_[from] < 0x7f))
            return from;
        return skippedWhitespace(from);
    }
    std::size_t skippedWhitespace(std::size_t from) const;
    // Where the text up to `stop` begins and ends; false, and no move, for nothing.
    bool scanUpTo(std::string_view stop, std::size_t& start, std::size_t& end)
    {
        start = skipped(pos_);
        if (start >= text_.size())
            return false;
        end = stop.size() == 1 ? text_.find(stop.front(), start) : text_.find(stop, start);
        if (end == std::string_view::npos)
            end = text_.size();
        if (end == start)
            return false;
        pos_ = end;
        return true;
    }

    std::string_view text_;
    Skip skip_;
    std::size_t pos_ = 0;
};
