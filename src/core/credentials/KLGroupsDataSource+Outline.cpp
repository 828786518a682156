#include "KLGroupsDataSource.h"

#include "KLFSItem.h"
#include "KLLog.h"
#include "KLUsersDataSource.h"

#include <algorithm>

namespace {

constexpr const char* kInvalidStructureMessage = "Fendrel Error: Invalid Group Structure";

KLPlist::Array* requireGroupList(KLFSItem* folder)
{
    if (!folder)
        return nullptr;
    KLPlist& entry = folder->authDict()[KLFSItem::kRequireGroup];
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

} // namespace

KLPlist KLGroupsDataSource::objectValue(KLListView&, const std::string& column, KLItem item)
{
    if (!item) {
        KLLog(kInvalidStructureMessage);
        return "";
    }
    KLUserItem* n = node(item);
    if (column == kGroupColumn)
        return n->value();
    if (!n->hasChildren())
        return false;
    const KLPlist::Array* list = requireGroupList(activeDirectory());
    return list && listContains(*list, n->value());
}

void KLGroupsDataSource::setObjectValue(KLListView& view, const KLPlist& value, const std::string& column,
                                        KLItem item)
{
    if (!item) {
        KLLog(kInvalidStructureMessage);
        return;
    }
    KLUserItem* n = node(item);
    // Members are neither renamed nor ticked.
    if (!n->hasChildren())
        return;
    if (column == kGroupColumn)
        setGroupValue(view, value, n);
    else
        setGroupActive(value.boolReading().value_or(false), n);
}

void KLGroupsDataSource::setGroupActive(bool on, KLUserItem* group)
{
    KLFSItem* folder = activeDirectory();
    KLPlist::Array* list = requireGroupList(folder);
    if (!list)
        return;
    const std::string& name = group->value();
    bool listed = listContains(*list, name);
    if (listed && !on) {
        std::erase_if(*list, [&](const KLPlist& value) {
            const std::string* s = value.string();
            return s && *s == name;
        });
    } else if (!listed && on) {
        list->push_back(name);
    }
    // Groups and "valid-user" do not exclude each other, and the file is
    // written also when nothing changed.
    folder->writeAccessFile();
}

void KLGroupsDataSource::willDisplayCell(KLListView&, KLCell& cell, const std::string& column, KLItem item)
{
    // A member shows the icon the users table gives the same user.
    if (column == kGroupColumn && item && !node(item)->hasChildren())
        cell.imageName = KLUsersDataSource::kUserIcon;
    if (column != kActiveColumn || !item)
        return;
    if (node(item)->hasChildren()) {
        KLFSItem* folder = activeDirectory();
        cell.transparent = false;
        cell.enabled = folder && folder->isPasswordProtected();
    } else {
        cell.transparent = true;
        cell.enabled = false;
    }
}
