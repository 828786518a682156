#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLButton.h"
#include "KLCollectionExtensions.h"
#include "KLGroupsDataSource.h"
#include "KLListView.h"
#include "KLPasteboard.h"
#include "KLScanner.h"
#include "KLStringExtensions.h"
#include "KLTextField.h"
#include "KLUserDefaults.h"
#include "KLUserItem.h"
#include "KLUsersDataSource.h"
#include "KLWindow.h"

#include <algorithm>
#include <optional>

namespace {
constexpr const char* kNotUnique = "Please choose a unique username";
constexpr const char* kHasWhitespace = "Usernames cannot contain spaces, tabs, or line returns";
constexpr const char* kNoPassword = "You must supply a password";
constexpr const char* kPasswordsDiffer = "Passwords do not match";
constexpr const char* kReservedName = "Invalid username. Please choose another";
constexpr const char* kNewPasswordFormat = "Please enter a new password for %s";
constexpr const char* kDESIgnoresPart =
    "Only the first 8 characters of this password count with DES hashes. Choose bcrypt in Options to use all of it.";

constexpr const char* kDeleteUserTitle = "Delete User";
constexpr const char* kDeleteUserFormat =
    "Are you sure you wish to delete the user \"%s\"? This action cannot be undone. To answer yes and not see this "
    "dialog in the future, click \"Don't Ask\"";
constexpr const char* kDeleteGroupTitle = "Delete Group";
constexpr const char* kDeleteGroupAction = "delete the group \"%s\"";
constexpr const char* kRemoveMemberAction = "remove the user \"%s\" from the group \"%s\"";
constexpr const char* kDeleteGroupFormat =
    "Are you sure you wish to %s? This action cannot be undone. To answer yes and not see this dialog in the "
    "future, click \"Don't Ask\"";
constexpr const char* kGroupToolTip = "Delete \"%s\"";
constexpr const char* kMemberToolTip = "Remove \"%s\" from \"%s\"";

constexpr const char* kNewGroupFormat = "Group %d";
constexpr const char* kReserved = "fendreled";
constexpr const char* kGroupColumn = "group";
constexpr const char* kSortUsers = "Sort Users";
constexpr const char* kUserDeleteDialog = "User Delete Dialog";
constexpr const char* kGroupDeleteDialog = "Group Delete Dialog";

constexpr int kDontAsk = 0;
constexpr int kNo = -1;

KLUserDefaults& defaults()
{
    return KLUserDefaults::standardUserDefaults();
}

// The users file holds plain ASCII "name:hash" lines; a name it cannot hold
// would block every later write of the file.
bool isStorableName(const std::string& name)
{
    return std::all_of(name.begin(), name.end(), [](char c) {
        auto byte = static_cast<unsigned char>(c);
        return byte > 0x20 && byte < 0x7f && c != ':';
    });
}

bool equalsIgnoringCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

void setText(KLTextField* field, const std::string& text)
{
    if (field)
        field->setStringValue(text);
}

std::string textOf(const KLTextField* field)
{
    return field ? field->stringValue() : std::string();
}
} // namespace

void FendrelPref::runUserSheet(const std::string& firstResponder)
{
    if (o_.userAddPanel)
        o_.userAddPanel->makeFirstResponder(firstResponder);
    if (o_.window && o_.userAddPanel)
        o_.window->beginSheet(*o_.userAddPanel);
}

void FendrelPref::addUser(void*)
{
    if (o_.userField)
        o_.userField->setEnabled(true);
    for (KLTextField* field : {o_.userField, o_.passField, o_.confirmField, o_.errorField})
        setText(field, "");
    passwordDidChange(nullptr);
    runUserSheet("userField");
}

void FendrelPref::editUser(void*)
{
    if (!o_.userTable || !users_)
        return;
    int row = o_.userTable->selectedRow();
    if (row <= 0)
        return;
    std::string name = stringByRemovingSurroundingWhitespace(users_->objectAtRow(row, KLUsersDataSource::kUserColumn).description());
    setText(o_.userField, name);
    if (o_.userField)
        o_.userField->setEnabled(false);
    setText(o_.passField, "");
    setText(o_.confirmField, "");
    setText(o_.errorField, stringWithFormat(kNewPasswordFormat, name.c_str()));
    passwordDidChange(nullptr);
    runUserSheet("passField");
}

void FendrelPref::endNewUser(void*)
{
    if (!users_)
        return;
    std::string name = stringByRemovingSurroundingWhitespace(textOf(o_.userField));
    bool editing = o_.userField && !o_.userField->isEnabled();
    std::string password = textOf(o_.passField);

    const char* refusal = nullptr;
    if (!editing && users_->containsItem(name))
        refusal = kNotUnique;
    else if (KLScanner::containsWhitespaceOrNewline(name))
        refusal = kHasWhitespace;
    else if (password.empty())
        refusal = kNoPassword;
    else if (password != textOf(o_.confirmField))
        refusal = kPasswordsDiffer;
    else if (equalsIgnoringCase(name, kReserved) || !isStorableName(name))
        refusal = kReservedName;
    if (refusal) {
        setText(o_.errorField, refusal);
        return;
    }

    // Made before anything changes: without a hash nothing is stored and
    // the sheet stays open.
    std::optional<std::string> hash = users_->encryptPassword(password, passwordHashKind());
    if (!hash) {
        displayError(kPasswordNotHashed);
        return;
    }

    // The new record goes in (and is sorted) before the old one is deleted.
    // The old one is the record selected when the sheet was opened, followed
    // to wherever the sort moved it: a users file read in another order
    // would otherwise lose the new password instead of the old one.
    KLUserRecords& list = users_->records();
    int selected = o_.userTable ? o_.userTable->selectedRow() : -1;
    std::optional<KLUserRecord> old;
    if (editing && selected >= 1 && selected <= static_cast<int>(list.size()))
        old = list[static_cast<std::size_t>(selected - 1)];
    list.push_back({name, *hash});
    if (defaults().boolForKey(kSortUsers))
        std::stable_sort(list.begin(), list.end(), KLUserRecord::order());
    users_->recordsDidChange();
    if (editing && o_.userTable) {
        int row = selected;
        if (old) {
            auto it = std::find(list.begin(), list.end(), *old);
            row = static_cast<int>(it - list.begin()) + 1;
        }
        users_->deleteRow(*o_.userTable, row, true);
    }
    if (o_.userTable)
        o_.userTable->reloadData();
    // The list keeps the change and is written again when the pane is left;
    // a failed write is told by the source.
    users_->writeUserfile();
    closeNewUser(nullptr);
    setText(o_.errorField, "");
}

void FendrelPref::passwordDidChange(void*)
{
    // Saving is not held back: the person decides whether 8 characters do.
    bool partIgnored = passwordHashKind() == KLPasswordHash::Kind::DES &&
                       KLUsersDataSource::passwordIsTruncated(textOf(o_.passField));
    setText(o_.passwordWarningField, partIgnored ? kDESIgnoresPart : "");
}

void FendrelPref::closeNewUser(void*)
{
    if (o_.window && o_.userAddPanel)
        o_.window->endSheet(*o_.userAddPanel);
    if (o_.userAddPanel)
        o_.userAddPanel->orderOut();
}

void FendrelPref::addGroup(void*)
{
    if (!groups_)
        return;
    int number = 1;
    std::string name = stringWithFormat(kNewGroupFormat, number);
    while (groups_->containsItem(name))
        name = stringWithFormat(kNewGroupFormat, ++number);
    KLUserItem* group = groups_->addNewGroup(name);
    if (!o_.groupOutline)
        return;
    o_.groupOutline->reloadData();
    int row = o_.groupOutline->rowForItem(group);
    o_.groupOutline->selectRow(row, false);
    o_.groupOutline->editColumn(kGroupColumn, row);
}

void FendrelPref::deleteUser(void*)
{
    if (!users_ || !o_.userTable)
        return;
    if (!defaults().boolForKey(kUserDeleteDialog)) {
        users_->deleteRow(*o_.userTable, o_.userTable->selectedRow(), false);
        return;
    }
    std::string name = stringByRemovingSurroundingWhitespace(
        users_->objectAtRow(o_.userTable->selectedRow(), KLUsersDataSource::kUserColumn).description());
    KLAlert alert;
    alert.title = kDeleteUserTitle;
    alert.message = stringWithFormat(kDeleteUserFormat, name.c_str());
    alert.defaultButton = "Yes";
    alert.alternateButton = "Don't Ask";
    alert.otherButton = "No";
    if (o_.alerts)
        o_.alerts->beginAlertSheet(alert, [this](int returnCode) { deleteUser(nullptr, returnCode, nullptr); });
}

void FendrelPref::deleteUser(void*, int returnCode, void*)
{
    if (returnCode == kNo || !users_ || !o_.userTable)
        return;
    if (returnCode == kDontAsk)
        setShouldShowUserDeleteDialog(false);
    users_->deleteRow(*o_.userTable, o_.userTable->selectedRow(), false);
}

void FendrelPref::deleteGroup(void*)
{
    if (!groups_ || !o_.groupOutline)
        return;
    auto* node = static_cast<KLUserItem*>(o_.groupOutline->itemAtRow(o_.groupOutline->selectedRow()));
    if (!node)
        return;
    if (!defaults().boolForKey(kGroupDeleteDialog)) {
        groups_->deleteRowForItem(*o_.groupOutline, node);
        return;
    }
    std::string action;
    if (node->hasChildren())
        action = stringWithFormat(kDeleteGroupAction, node->value().c_str());
    else
        action = stringWithFormat(kRemoveMemberAction, node->value().c_str(),
                                  node->parent() ? node->parent()->value().c_str() : "");
    KLAlert alert;
    alert.title = kDeleteGroupTitle;
    alert.message = stringWithFormat(kDeleteGroupFormat, action.c_str());
    alert.defaultButton = "Yes";
    alert.alternateButton = "Don't Ask";
    alert.otherButton = "No";
    if (o_.alerts)
        o_.alerts->beginAlertSheet(alert, [this](int returnCode) { deleteGroup(nullptr, returnCode, nullptr); });
}

void FendrelPref::deleteGroup(void*, int returnCode, void*)
{
    if (returnCode == kNo || !groups_ || !o_.groupOutline)
        return;
    if (returnCode == kDontAsk)
        setShouldShowGroupDeleteDialog(false);
    auto* node = static_cast<KLUserItem*>(o_.groupOutline->itemAtRow(o_.groupOutline->selectedRow()));
    if (node)
        groups_->deleteRowForItem(*o_.groupOutline, node);
}

void FendrelPref::deleteRow(KLListView* view, int)
{
    if (!view)
        return;
    if (view == o_.userTable)
        deleteUser(view);
    else if (view == o_.groupOutline)
        deleteGroup(view);
    else if (view == o_.addressTable)
        removeAddress(view);
}

void FendrelPref::userWasDeleted(const std::string& user)
{
    if (groups_)
        groups_->removeUserFromGroups(user);
}

void FendrelPref::userClick(void*)
{
    bool selected = o_.userTable && o_.userTable->selectedRow() > 0;
    if (o_.userEditButton)
        o_.userEditButton->setEnabled(selected);
    if (o_.userDeleteButton)
        o_.userDeleteButton->setEnabled(selected);
}

void FendrelPref::groupClick(void*)
{
    if (!o_.groupDeleteButton)
        return;
    int row = o_.groupOutline ? o_.groupOutline->selectedRow() : -1;
    auto* node = row >= 0 ? static_cast<KLUserItem*>(o_.groupOutline->itemAtRow(row)) : nullptr;
    if (!node) {
        o_.groupDeleteButton->setEnabled(false);
        o_.groupDeleteButton->setToolTip("");
        return;
    }
    o_.groupDeleteButton->setEnabled(true);
    if (node->hasChildren())
        o_.groupDeleteButton->setToolTip(stringWithFormat(kGroupToolTip, node->value().c_str()));
    else
        o_.groupDeleteButton->setToolTip(stringWithFormat(kMemberToolTip, node->value().c_str(),
                                                          node->parent() ? node->parent()->value().c_str() : ""));
}

bool FendrelPref::userDragToGroup(int groupIndex, KLPasteboard& pasteboard, KLUserItem*& group) const
{
    if (!users_ || !groups_ || !o_.userTable || !o_.groupOutline)
        return false;
    KLUserItem::Children& list = groups_->rootArray();
    if (groupIndex < 0 || static_cast<std::size_t>(groupIndex) >= list.size())
        return false;
    group = list[static_cast<std::size_t>(groupIndex)].get();
    if (!users_->writeRows(*o_.userTable, {o_.userTable->selectedRow()}, pasteboard))
        return false;
    return groups_->validateDrop(*o_.groupOutline, pasteboard, group, -1) != KLDragOperation::None &&
           groups_->droppedMember(pasteboard, group);
}

bool FendrelPref::canAddUserToGroup(int groupIndex) const
{
    KLPasteboard pasteboard;
    KLUserItem* group = nullptr;
    return userDragToGroup(groupIndex, pasteboard, group);
}

bool FendrelPref::addUserToGroup(int groupIndex)
{
    KLPasteboard pasteboard;
    KLUserItem* group = nullptr;
    if (!userDragToGroup(groupIndex, pasteboard, group))
        return false;
    // A drop on the group's row: the member goes first, as when dragged.
    if (!groups_->acceptDrop(*o_.groupOutline, pasteboard, group, -1))
        return false;
    o_.groupOutline->expandItem(group);
    return true;
}
