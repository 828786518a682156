#include "KLNameIndex.h"

#include "KLStringExtensions.h"

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
    if (isASCII(name)) {
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
    // The readers ask once per line: ASCII compares in place, and mostly ends
    // at the first letter. Folding maps each character on its own and never
    // to nothing, so a difference between two ASCII letters, or in length
    // after a common ASCII part, is final whatever follows.
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (static_cast<unsigned char>(a[i] | b[i]) >= 0x80)
            return folded(a) == folded(b);
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return a.size() == b.size();
}
