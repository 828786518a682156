#include "KLHeadlessTabView.h"

#include <algorithm>

int KLHeadlessTabView::indexOfItemWithIdentifier(const std::string& identifier) const
{
    auto it = std::find(identifiers_.begin(), identifiers_.end(), identifier);
    return it == identifiers_.end() ? -1 : static_cast<int>(it - identifiers_.begin());
}

void KLHeadlessTabView::insertItem(const std::string& identifier, int index)
{
    index = std::clamp(index, 0, numberOfItems());
    identifiers_.insert(identifiers_.begin() + index, identifier);
}

void KLHeadlessTabView::removeItem(const std::string& identifier)
{
    std::erase(identifiers_, identifier);
}
