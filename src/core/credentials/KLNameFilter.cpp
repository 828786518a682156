#include "KLNameFilter.h"

#include "KLCollectionExtensions.h"
#include "KLNameIndex.h"
#include "KLStringExtensions.h"

#include <algorithm>

namespace {

char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool KLNameFilter::matches(std::string_view name) const
{
    if (text_.empty() || caseSensitive_)
        return name.find(text_) != std::string_view::npos;
    // Names are ASCII nearly always: compare in place rather than fold a copy.
    if (isASCII(name))
        return std::search(name.begin(), name.end(), folded_.begin(), folded_.end(),
                           [](char a, char b) { return lowered(a) == b; }) != name.end();
    return KLNameIndex::folded(name).find(folded_) != std::string::npos;
}

bool KLNameFilter::showsMember(std::string_view group, std::string_view member) const
{
    return matches(group) || matches(member);
}

bool KLNameFilter::showsGroup(std::string_view group, const std::vector<std::string>& members) const
{
    return matches(group) ||
           std::any_of(members.begin(), members.end(), [this](const std::string& member) { return matches(member); });
}

void KLNameFilter::setText(const std::string& text, int count, const NameAt& nameAt)
{
    bool caseSensitive = caseSensitiveCompare();
    // A longer text that holds the old one can only drop rows.
    bool narrows = isActive() && caseSensitive == caseSensitive_ && text.find(text_) != std::string::npos;
    text_ = text;
    caseSensitive_ = caseSensitive;
    folded_ = KLNameIndex::folded(text);
    if (!isActive()) {
        rows_.clear();
        return;
    }
    if (!narrows) {
        refresh(count, nameAt);
        return;
    }
    std::erase_if(rows_, [&](int row) { return row >= count || !matches(nameAt(row)); });
}

void KLNameFilter::refresh(int count, const NameAt& nameAt)
{
    rows_.clear();
    if (!isActive())
        return;
    for (int row = 0; row < count; ++row)
        if (matches(nameAt(row)))
            rows_.push_back(row);
}

int KLNameFilter::count(int count) const
{
    return isActive() ? static_cast<int>(rows_.size()) : count;
}

int KLNameFilter::rowAt(int shown) const
{
    if (!isActive())
        return shown;
    return shown >= 0 && static_cast<std::size_t>(shown) < rows_.size() ? rows_[static_cast<std::size_t>(shown)] : -1;
}

int KLNameFilter::shownRow(int row) const
{
    if (!isActive())
        return row;
    auto it = std::lower_bound(rows_.begin(), rows_.end(), row);
    return it != rows_.end() && *it == row ? static_cast<int>(it - rows_.begin()) : -1;
}
