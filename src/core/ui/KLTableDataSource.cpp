#include "KLTableDataSource.h"

void KLTableDataSource::setObjectValue(KLListView&, const KLPlist&, const std::string&, int)
{
}

bool KLTableDataSource::shouldEdit(KLListView&, const std::string&, int)
{
    return true;
}

void KLTableDataSource::willDisplayCell(KLListView&, KLCell&, const std::string&, int)
{
}

bool KLTableDataSource::writeRows(KLListView&, const std::vector<int>&, KLPasteboard&)
{
    return false;
}

KLDragOperation KLTableDataSource::validateDrop(KLListView&, const KLPasteboard&, int, KLDropOperation)
{
    return KLDragOperation::None;
}

bool KLTableDataSource::acceptDrop(KLListView&, const KLPasteboard&, int, KLDropOperation)
{
    return false;
}

std::string KLTableDataSource::summaryTextForRow(int)
{
    return {};
}
