#include "KLNameIndex.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

std::string KLNameIndex::key(std::string_view name) const
{
    return matching_ == Matching::Exact ? std::string(name) : folded(name);
}

void KLNameIndex::add(std::string_view name)
{
    ++counts_[key(name)];
    ++size_;
}

void KLNameIndex::remove(std::string_view name)
{
    auto it = counts_.find(key(name));
    if (it == counts_.end())
        return;
    if (--it->second <= 0)
        counts_.erase(it);
    --size_;
}

bool KLNameIndex::contains(std::string_view name) const
{
    return counts_.count(key(name)) > 0;
}

std::string KLNameIndex::folded(std::string_view name)
{
    if (std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        std::string out(name);
        for (char& c : out) {
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
        }
        return out;
    }
    icu::UnicodeString u = icu::UnicodeString::fromUTF8(icu::StringPiece(name.data(), static_cast<int32_t>(name.size())));
    std::string out;
    u.foldCase(U_FOLD_CASE_DEFAULT).toUTF8String(out);
    return out;
}

bool KLNameIndex::equalIgnoringCase(std::string_view a, std::string_view b)
{
    // The readers ask once per line: ASCII names compare in place.
    auto ascii = [](std::string_view s) {
        return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    };
    if (!ascii(a) || !ascii(b))
        return folded(a) == folded(b);
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}
