#include "KLHeadlessPopUpButton.h"

#include <algorithm>

namespace {
std::size_t clampedIndex(int index, std::size_t count)
{
    return static_cast<std::size_t>(std::clamp(index, 0, static_cast<int>(count)));
}
} // namespace

std::string KLHeadlessPopUpButton::itemTitleAtIndex(int index) const
{
    if (index < 0 || index >= numberOfItems())
        return {};
    return titles_[static_cast<std::size_t>(index)];
}

void KLHeadlessPopUpButton::insertItem(const std::string& title, const std::string&, int index)
{
    titles_.insert(titles_.begin() + static_cast<long>(clampedIndex(index, titles_.size())), title);
}

void KLHeadlessPopUpButton::insertSeparator(int index)
{
    insertItem({}, {}, index);
}

void KLHeadlessPopUpButton::removeItemAtIndex(int index)
{
    if (index < 0 || index >= numberOfItems())
        return;
    titles_.erase(titles_.begin() + index);
    if (selected_ >= numberOfItems())
        selected_ = numberOfItems() - 1;
}
