#include "KLScanner.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace {

// The code point at `pos` and its length in bytes; a malformed byte counts
// as one character that is not white space.
char32_t codePointAt(std::string_view text, std::size_t pos, std::size_t& length)
{
    auto first = static_cast<unsigned char>(text[pos]);
    if (first < 0x80) {
        length = 1;
        return first;
    }
    int32_t i = static_cast<int32_t>(pos);
    UChar32 c = 0;
    U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, static_cast<int32_t>(text.size()), c);
    length = static_cast<std::size_t>(i) - pos;
    return c < 0 ? 0xFFFD : static_cast<char32_t>(c);
}

} // namespace

bool KLScanner::isWhitespaceOrNewline(char32_t c)
{
    if (c < 0x80)
        return c == ' ' || (c >= '\t' && c <= '\r');
    return u_isUWhiteSpace(static_cast<UChar32>(c));
}

bool KLScanner::containsWhitespaceOrNewline(std::string_view text)
{
    for (std::size_t pos = 0, length = 0; pos < text.size(); pos += length) {
        if (isWhitespaceOrNewline(codePointAt(text, pos, length)))
            return true;
    }
    return false;
}

std::size_t KLScanner::skippedWhitespace(std::size_t from) const
{
    std::size_t length = 0;
    while (from < text_.size()) {
        // Mostly a line end before a name: ASCII needs no decoding.
        if (auto c = static_cast<unsigned char>(text_[from]); c < 0x80) {
            if (!isWhitespaceOrNewline(c))
                break;
            ++from;
            continue;
        }
        if (!isWhitespaceOrNewline(codePointAt(text_, from, length)))
            break;
        from += length;
    }
    return from;
}

bool KLScanner::scanUpToString(std::string_view stop, std::string& into)
{
    std::size_t start = 0;
    std::size_t end = 0;
    if (!scanUpTo(stop, start, end))
        return false;
    into.assign(text_.substr(start, end - start));
    return true;
}

bool KLScanner::scanUpToString(std::string_view stop)
{
    std::size_t start = 0;
    std::size_t end = 0;
    return scanUpTo(stop, start, end);
}

void KLScanner::skipLine()
{
    std::size_t end = text_.find('\n', pos_);
    pos_ = end == std::string_view::npos ? text_.size() : end + 1;
}
