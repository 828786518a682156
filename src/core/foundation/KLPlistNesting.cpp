#include "KLPlistNesting.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr std::string_view kBinaryMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr unsigned kArrayMarker = 0xA0;
constexpr unsigned kSetMarker = 0xC0;
constexpr unsigned kDictionaryMarker = 0xD0;
constexpr unsigned kIntegerMarker = 0x10;

std::uint64_t bigEndian(const unsigned char* p, std::size_t size)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = (value << 8) | p[i];
    return value;
}

bool isContainerName(std::string_view name)
{
    return name == "array" || name == "dict";
}

// The '>' ending the tag whose name ends at from; quoted attribute values
// may hold a '>' of their own, so they are stepped over.
std::size_t tagEnd(std::string_view text, std::size_t from)
{
    char quote = 0;
    for (std::size_t i = from; i < text.size(); ++i) {
        char c = text[i];
        if (quote) {
            if (c == quote)
                quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return i;
        }
    }
    return std::string_view::npos;
}

} // namespace

bool KLPlistNesting::isWithin(std::string_view bytes, int limit)
{
    if (bytes.starts_with(kBinaryMagic))
        return binaryIsWithin(bytes, limit);
    return xmlIsWithin(bytes, limit);
}

bool KLPlistNesting::xmlIsWithin(std::string_view text, int limit)
{
    int depth = 0;
    std::size_t at = 0;
    while ((at = text.find('<', at)) != std::string_view::npos) {
        std::string_view rest = text.substr(at);
        // Tags inside comments and character data are no tags: skipping them
        // keeps a "</array>" written there from hiding a level.
        if (rest.starts_with("<!--") || rest.starts_with("<![CDATA[")) {
            std::string_view close = rest[2] == '-' ? "-->" : "]]>";
            std::size_t end = text.find(close, at + 4);
            if (end == std::string_view::npos)
                return true;
            at = end + close.size();
            continue;
        }
        bool closing = rest.size() > 1 && rest[1] == '/';
        std::size_t nameStart = at + (closing ? 2 : 1);
        std::size_t nameEnd = text.find_first_of(" \t\r\n/>", nameStart);
        if (nameEnd == std::string_view::npos)
            return true;
        std::size_t end = tagEnd(text, nameEnd);
        if (end == std::string_view::npos)
            return true;
        if (isContainerName(text.substr(nameStart, nameEnd - nameStart))) {
            bool empty = text[end - 1] == '/';
            if (closing)
                depth = std::max(0, depth - 1);
            else if (!empty && ++depth > limit)
                return false;
        }
        at = end + 1;
    }
    return true;
}

bool KLPlistNesting::binaryIsWithin(std::string_view bytes, int limit)
{
    if (bytes.size() < kBinaryMagic.size() + kTrailerSize)
        return true;
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t objectsEnd = bytes.size() - kTrailerSize;
    const unsigned char* trailer = data + objectsEnd;
    const std::size_t offsetSize = trailer[6];
    const std::size_t refSize = trailer[7];
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    const std::uint64_t root = bigEndian(trailer + 16, 8);
    const std::uint64_t table = bigEndian(trailer + 24, 8);
    // A trailer that cannot be followed is refused: the parser might read
    // it differently and recurse where this look could not.
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || count == 0 || root >= count ||
        table >= objectsEnd || count > (objectsEnd - table) / offsetSize)
        return false;

    // Iterative walk; an object is walked again only when reached at a
    // deeper level, so shared objects cost little and a cycle runs past the
    // limit instead of forever.
    std::vector<int> deepest(static_cast<std::size_t>(count), 0);
    std::vector<std::pair<std::uint64_t, int>> pending{{root, 0}};
    while (!pending.empty()) {
        auto [index, above] = pending.back();
        pending.pop_back();
        std::uint64_t offset = bigEndian(data + table + index * offsetSize, offsetSize);
        if (offset >= objectsEnd)
            return false;
        unsigned marker = data[offset] & 0xF0;
        if (marker != kArrayMarker && marker != kSetMarker && marker != kDictionaryMarker)
            continue;
        int level = above + 1;
        if (level > limit)
            return false;
        if (deepest[index] >= level)
            continue;
        deepest[index] = level;

        std::uint64_t members = data[offset] & 0x0F;
        std::uint64_t at = offset + 1;
        if (members == 0x0F) {
            if (at >= objectsEnd || (data[at] & 0xF0) != kIntegerMarker || (data[at] & 0x0F) > 3)
                return false;
            std::size_t size = std::size_t(1) << (data[at] & 0x0F);
            if (at + 1 + size > objectsEnd)
                return false;
            members = bigEndian(data + at + 1, size);
            at += 1 + size;
        }
        std::uint64_t refs = marker == kDictionaryMarker ? members * 2 : members;
        if (members > std::numeric_limits<std::uint32_t>::max() || refs > (objectsEnd - at) / refSize)
            return false;
        for (std::uint64_t i = 0; i < refs; ++i) {
            std::uint64_t child = bigEndian(data + at + i * refSize, refSize);
            if (child >= count)
                return false;
            pending.emplace_back(child, level);
        }
    }
    return true;
}
