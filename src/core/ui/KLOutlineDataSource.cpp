#include "KLOutlineDataSource.h"

void KLOutlineDataSource::setObjectValue(KLListView&, const KLPlist&, const std::string&, KLItem)
{
}

bool KLOutlineDataSource::shouldEdit(KLListView&, const std::string&, KLItem)
{
    return true;
}

void KLOutlineDataSource::willDisplayCell(KLListView&, KLCell&, const std::string&, KLItem)
{
}

bool KLOutlineDataSource::shouldSelectItem(KLListView&, KLItem)
{
    return true;
}

void KLOutlineDataSource::selectionDidChange(KLListView&)
{
}

void KLOutlineDataSource::itemWillExpand(KLListView&, KLItem)
{
}

void KLOutlineDataSource::itemWillCollapse(KLListView&, KLItem)
{
}

bool KLOutlineDataSource::hasTextValidation() const
{
    return false;
}

bool KLOutlineDataSource::validateText(KLListView&, const std::string&)
{
    return true;
}

bool KLOutlineDataSource::textShouldEndEditing(KLListView& view, const std::string& text)
{
    return !hasTextValidation() || validateText(view, text);
}

bool KLOutlineDataSource::writeItems(KLListView&, const std::vector<KLItem>&, KLPasteboard&)
{
    return false;
}

KLDragOperation KLOutlineDataSource::validateDrop(KLListView&, const KLPasteboard&, KLItem, int)
{
    return KLDragOperation::None;
}

bool KLOutlineDataSource::acceptDrop(KLListView&, const KLPasteboard&, KLItem, int)
{
    return false;
}

std::string KLOutlineDataSource::summaryTextForItem(KLItem)
{
    return {};
}
