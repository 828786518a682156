#include "KLNameIndex.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

void KLNameIndex::clear()
{
    exact_.clear();
    folded_.clear();
    size_ = 0;
}

void KLNameIndex::reserve(std::size_t count)
{
    exact_.reserve(count);
    folded_.reserve(count);
}

void KLNameIndex::adjust(std::unordered_map<std::string, int>& map, std::string key, int delta)
{
    auto it = map.find(key);
    if (it == map.end()) {
        if (delta > 0)
            map.emplace(std::move(key), delta);
        return;
    }
    it->second += delta;
    if (it->second <= 0)
        map.erase(it);
}

void KLNameIndex::add(std::string_view name)
{
    adjust(exact_, std::string(name), 1);
    adjust(folded_, folded(name), 1);
    ++size_;
}

void KLNameIndex::remove(std::string_view name)
{
    if (!exact_.count(std::string(name)))
        return;
    adjust(exact_, std::string(name), -1);
    adjust(folded_, folded(name), -1);
    --size_;
}

bool KLNameIndex::contains(std::string_view name) const
{
    return exact_.count(std::string(name)) > 0;
}

bool KLNameIndex::containsIgnoringCase(std::string_view name) const
{
    return folded_.count(folded(name)) > 0;
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
    return folded(a) == folded(b);
}
