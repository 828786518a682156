#include "KLHeadlessListView.h"

#include "KLOutlineDataSource.h"
#include "KLTableDataSource.h"

#include <algorithm>

int KLHeadlessListView::numberOfRows() const
{
    if (outline_)
        return static_cast<int>(visibleItems().size());
    if (table_)
        return table_->numberOfRows(const_cast<KLHeadlessListView&>(*this));
    return 0;
}

void KLHeadlessListView::selectRow(int row, bool extendSelection)
{
    if (!extendSelection)
        selection_.clear();
    if (row >= 0 && std::find(selection_.begin(), selection_.end(), row) == selection_.end())
        selection_.push_back(row);
    std::sort(selection_.begin(), selection_.end());
}

KLItem KLHeadlessListView::itemAtRow(int row) const
{
    std::vector<KLItem> items = visibleItems();
    if (row < 0 || row >= static_cast<int>(items.size()))
        return nullptr;
    return items[static_cast<std::size_t>(row)];
}

int KLHeadlessListView::rowForItem(KLItem item) const
{
    std::vector<KLItem> items = visibleItems();
    auto it = std::find(items.begin(), items.end(), item);
    return it == items.end() ? -1 : static_cast<int>(it - items.begin());
}

std::vector<KLItem> KLHeadlessListView::visibleItems() const
{
    std::vector<KLItem> items;
    if (outline_)
        appendVisible(nullptr, items);
    return items;
}

void KLHeadlessListView::appendVisible(KLItem parent, std::vector<KLItem>& items) const
{
    auto& view = const_cast<KLHeadlessListView&>(*this);
    int count = outline_->numberOfChildren(view, parent);
    for (int i = 0; i < count; ++i) {
        KLItem item = outline_->child(view, i, parent);
        items.push_back(item);
        if (isItemExpanded(item))
            appendVisible(item, items);
    }
}
