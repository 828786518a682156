#include "KLUsersDataSource.h"

#include "KLFSItem.h"
#include "KLPaneContext.h"
#include "KLStringExtensions.h"

#include <algorithm>

namespace {

// What a missing value prints as in the drag text; receivers read only the
// part before the first ":".
constexpr const char* kMissingValueText = "(null)";

KLPlist::Array* requireUserList(KLFSItem* folder)
{
    if (!folder)
        return nullptr;
    KLPlist& entry = folder->authDict()[KLFSItem::kRequireUser];
    if (!entry.isArray())
        entry = KLPlist::Array{};
    return entry.array();
}

bool listContains(const KLPlist::Array& list, const std::string& name)
{
    return std::any_of(list.begin(), list.end(), [&](const KLPlist& value) {
        const std::string* s = value.string();
        return s && *s == name;
    });
}

void removeAll(KLPlist::Array& list, const std::string& name)
{
    std::erase_if(list, [&](const KLPlist& value) {
        const std::string* s = value.string();
        return s && *s == name;
    });
}

} // namespace

int KLUsersDataSource::numberOfRows() const
{
    return static_cast<int>(records_.size()) + 1;
}

int KLUsersDataSource::numberOfRows(KLListView&)
{
    return numberOfRows();
}

KLPlist KLUsersDataSource::objectValue(KLListView&, const std::string& column, int row)
{
    return objectAtRow(row, column);
}

std::string KLUsersDataSource::nameOfRow(int row) const
{
    return stringByRemovingSurroundingWhitespace(objectAtRow(row, kUserColumn).description());
}

KLPlist KLUsersDataSource::objectAtRow(int row, const std::string& column) const
{
    const KLUserRecord* record = row >= 1 && static_cast<std::size_t>(row) <= records_.size()
                                     ? &records_[static_cast<std::size_t>(row) - 1]
                                     : nullptr;
    if (column == kUserColumn) {
        if (row == 0)
            return anyUserDisplayName;
        return record ? KLPlist(record->name) : KLPlist();
    }
    if (column == kHashColumn) {
        if (row == 0)
            return "";
        return KLPasswordHash::nameOf(KLPasswordHash::kindOf(record ? record->hash : std::string()));
    }
    const KLPlist::Array* list = requireUserList(activeDirectory());
    std::string name = row == 0 ? std::string(anyUserRealName) : nameOfRow(row);
    return list && listContains(*list, name);
}

std::string KLUsersDataSource::summaryTextForRow(int row)
{
    return objectAtRow(row, kUserColumn).description();
}

void KLUsersDataSource::setObjectValue(KLListView& view, const KLPlist& value, const std::string&, int row)
{
    KLFSItem* folder = activeDirectory();
    KLPlist::Array* list = requireUserList(folder);
    if (!list)
        return;
    bool on = value.boolReading().value_or(false);
    if (row == 0) {
        if (on) {
            // Any valid user stands alone: every chosen user is switched off.
            list->clear();
            list->push_back(anyUserRealName);
            view.reloadData();
        } else {
            removeAll(*list, anyUserRealName);
        }
    } else {
        std::string name = nameOfRow(row);
        bool listed = listContains(*list, name);
        if (listed && !on) {
            removeAll(*list, name);
        } else if (!listed && on) {
            removeAll(*list, anyUserRealName);
            list->push_back(name);
            view.reloadData();
        }
    }
    // Written also when nothing changed.
    folder->writeAccessFile();
}

bool KLUsersDataSource::shouldEdit(KLListView&, const std::string& column, int row)
{
    if (column == kHashColumn)
        return false;
    return row >= 1 || column != kUserColumn;
}

void KLUsersDataSource::willDisplayCell(KLListView&, KLCell& cell, const std::string& column, int row)
{
    if (column == kActiveColumn) {
        KLFSItem* folder = activeDirectory();
        cell.enabled = folder && folder->isPasswordProtected();
    } else if (column == kUserColumn) {
        cell.imageName = row >= 1 ? kUserIcon : "";
    }
}

bool KLUsersDataSource::deleteRow(KLListView& view, int row, bool replace)
{
    if (row < 1)
        return false;
    if (static_cast<std::size_t>(row) > records_.size())
        return false;
    std::string name = objectAtRow(row, kUserColumn).description();
    records_.erase(records_.begin() + row - 1);
    view.reloadData();
    if (!replace) {
        if (KLPaneContext* pane = KLPaneContext::shared())
            pane->userWasDeleted(name);
    }
    writeUserfile();
    return true;
}

bool KLUsersDataSource::writeRows(KLListView&, const std::vector<int>& rows, KLPasteboard& pasteboard)
{
    if (rows.empty() || rows.front() < 1 || static_cast<std::size_t>(rows.front()) > records_.size())
        return false;
    // Records carry no password; the text is "name:(null)" on purpose.
    std::string text = records_[static_cast<std::size_t>(rows.front() - 1)].name + ":" + kMissingValueText;
    pasteboard.declareTypes({KLPasteboard::kFendrelUserType, KLPasteboard::kStringType});
    pasteboard.setString(text, KLPasteboard::kFendrelUserType);
    pasteboard.setString(text, KLPasteboard::kStringType);
    return true;
}
