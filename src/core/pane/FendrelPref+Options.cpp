#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLApacheController.h"
#include "KLButton.h"
#include "KLCollectionExtensions.h"
#include "KLFSDataSource.h"
#include "KLFileExtensions.h"
#include "KLGroupsDataSource.h"
#include "KLListView.h"
#include "KLPopUpButton.h"
#include "KLStringExtensions.h"
#include "KLTabView.h"
#include "KLTextField.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "KLWorkspace.h"

#include <algorithm>
#include <optional>

namespace {
constexpr const char* kSortUsers = "Sort Users";
constexpr const char* kSortGroups = "Sort Groups";
constexpr const char* kShowDeleteDialog = "Show Delete Dialog";
constexpr const char* kUserDeleteDialog = "User Delete Dialog";
constexpr const char* kGroupDeleteDialog = "Group Delete Dialog";
constexpr const char* kProtectedFolder = "Fendrel Protected Folder";
constexpr const char* kShowManualEditor = "Show Manual Editor";
constexpr const char* kAllowCustomWebDir = "Allow Custom Web Dir";
constexpr const char* kUsesRemoteApache = "Uses Remote Apache";
constexpr const char* kCheckForUpdates = "Check for Updates";
constexpr const char* kWebDir = "Web Dir";
// Only read, as where the folder chooser starts; nothing writes it.
constexpr const char* kCustomWebDir = "Custom Web Dir";

constexpr const char* kApacheTab = "apache";
constexpr const char* kCustomTab = "custom";
constexpr const char* kApacheUnavailable = "Apache status not available";
constexpr const char* kUnavailableColor = "gray";

// Menu items of webDirFolder.
constexpr int kCustomFolderItem = 2;
constexpr int kApacheTabIndex = 2;

// "Custom" followed by an ellipsis (U+2026).
const std::string& customItemTitle()
{
    static const std::string title = "Custom\u2026";
    return title;
}

KLUserDefaults& defaults()
{
    return KLUserDefaults::standardUserDefaults();
}

void setCheck(KLButton* button, bool on)
{
    if (button)
        button->setState(on ? 1 : 0);
}
} // namespace

void FendrelPref::readOptions()
{
    setCheck(o_.userSortCheck, defaults().boolForKey(kSortUsers));
    setCheck(o_.groupSortCheck, defaults().boolForKey(kSortGroups));
    setCheck(o_.accessFileDeleteCheck, defaults().boolForKey(kShowDeleteDialog));
    setCheck(o_.userDeleteCheck, defaults().boolForKey(kUserDeleteDialog));
    setCheck(o_.groupDeleteCheck, defaults().boolForKey(kGroupDeleteDialog));
    if (o_.webDirFolder) {
        int stored = defaults().integerForKey(kProtectedFolder);
        int last = o_.webDirFolder->numberOfItems() - 1;
        o_.webDirFolder->selectItemAtIndex(stored >= last ? last : stored);
    }
    setCheck(o_.manualEditCheck, defaults().boolForKey(kShowManualEditor));
    setCheck(o_.customDirCheck, defaults().boolForKey(kAllowCustomWebDir));
    setCheck(o_.remoteApacheCheck, defaults().boolForKey(kUsesRemoteApache));
    setCheck(o_.launchVersionCheck, defaults().boolForKey(kCheckForUpdates));
    if (o_.passwordHashMenu) {
        const std::string stored = KLPasswordHash::nameOf(KLPasswordHash::storedChoice());
        for (int i = 0; i < o_.passwordHashMenu->numberOfItems(); ++i)
            if (o_.passwordHashMenu->itemTitleAtIndex(i) == stored)
                o_.passwordHashMenu->selectItemAtIndex(i);
    }
}

void FendrelPref::writeOption(KLButton* sender)
{
    if (!sender)
        return;
    bool on = sender->state() != 0;
    if (sender == o_.userSortCheck)
        setShouldSortUsers(on);
    else if (sender == o_.groupSortCheck)
        setShouldSortGroups(on);
    else if (sender == o_.accessFileDeleteCheck)
        setShouldShowDeleteDialog(on);
    else if (sender == o_.userDeleteCheck)
        setShouldShowUserDeleteDialog(on);
    else if (sender == o_.groupDeleteCheck)
        setShouldShowGroupDeleteDialog(on);
}

void FendrelPref::setShouldSortUsers(bool sort)
{
    if (sort && users_) {
        KLUserRecords& list = users_->records();
        std::stable_sort(list.begin(), list.end(), KLUserRecord::order());
        users_->recordsDidChange();
    }
    defaults().setBool(sort, kSortUsers);
}

void FendrelPref::setShouldSortGroups(bool sort)
{
    if (sort && groups_)
        groups_->sortGroups();
    defaults().setBool(sort, kSortGroups);
}

void FendrelPref::setShouldShowDeleteDialog(bool show)
{
    defaults().setBool(show, kShowDeleteDialog);
}

bool FendrelPref::shouldShowDeleteDialog() const
{
    return defaults().boolForKey(kShowDeleteDialog);
}

void FendrelPref::setShouldShowUserDeleteDialog(bool show)
{
    defaults().setBool(show, kUserDeleteDialog);
}

void FendrelPref::setShouldShowGroupDeleteDialog(bool show)
{
    defaults().setBool(show, kGroupDeleteDialog);
}

void FendrelPref::setShouldCheckAtLaunch(bool check)
{
    defaults().setBool(check, kCheckForUpdates);
}

void FendrelPref::changeCheckAtLaunch(KLButton* sender)
{
    if (sender)
        setShouldCheckAtLaunch(sender->state() != 0);
}

void FendrelPref::setPasswordHash(KLPopUpButton* popup)
{
    if (!popup)
        return;
    int chosen = popup->indexOfSelectedItem();
    std::optional<KLPasswordHash::Kind> kind = KLPasswordHash::choice(popup->itemTitleAtIndex(chosen));
    if (kind)
        defaults().setObject(KLPlist(KLPasswordHash::nameOf(*kind)), KLPasswordHash::kSettingKey);
}

KLPasswordHash::Kind FendrelPref::passwordHashKind() const
{
    return KLPasswordHash::storedChoice();
}

void FendrelPref::setWebDirRoot(KLPopUpButton* popup)
{
    if (popup)
        setWebDirRoot(KLState(popup->indexOfSelectedItem()));
}

void FendrelPref::setWebDirRoot(const KLState& popup)
{
    int chosen = popup.indexOfSelectedItem();
    int stored = defaults().integerForKey(kProtectedFolder);
    if (manuallyEdited_ && chosen != stored) {
        if (o_.webDirFolder)
            o_.webDirFolder->selectItemAtIndex(stored);
        presentManualEditingErrorWithInvocation(heldBackAction(kSetWebDirRoot, chosen));
        return;
    }
    if (o_.webDirFolder)
        o_.webDirFolder->selectItemAtIndex(chosen);
    bool isCustomItem = o_.webDirFolder && chosen == o_.webDirFolder->numberOfItems() - 1;
    if (isCustomItem && defaults().boolForKey(kAllowCustomWebDir)) {
        std::string stored = defaults().stringForKey(kCustomWebDir).value_or("");
        const std::string start = stored.empty() ? std::string("/") : stored;
        if (o_.alerts)
            o_.alerts->runFolderChooser(start, [this](int returnCode, const std::string& folder) {
                chooseWebDir(returnCode, folder);
            });
        return;
    }
    setStartDirectory(chosen);
}

void FendrelPref::chooseWebDir(int returnCode, const std::string& folder)
{
    if (returnCode == 1) {
        setCustomWebDir(folder);
        if (o_.webDirFolder)
            o_.webDirFolder->selectItemAtIndex(kCustomFolderItem);
        setStartDirectory(kCustomFolderItem);
        return;
    }
    if (o_.webDirFolder)
        o_.webDirFolder->selectItemAtIndex(defaults().integerForKey(kProtectedFolder));
}

void FendrelPref::setStartDirectory(int root)
{
    defaults().setInteger(root, kProtectedFolder);
    if (waking_)
        return;
    // The new root's users and groups first: its folders' Require lines
    // keep only the names these files know.
    reloadUsersAndGroups();
    rebuildFolderTree();
}

void FendrelPref::setCustomWebDir(const std::string& path)
{
    if (!isFolder(path))
        return;
    // The folder's item replaces an earlier one; a menu of the two roots, a
    // separator and "Custom…" has none yet, and its separator stays.
    constexpr int kItemsWithFolder = 5;
    if (o_.webDirFolder && defaults().integerForKey(kProtectedFolder) > 1 &&
        o_.webDirFolder->numberOfItems() >= kItemsWithFolder)
        o_.webDirFolder->removeItemAtIndex(kCustomFolderItem);
    defaults().setObject(KLPlist(path), kWebDir);
    if (o_.webDirFolder)
        o_.webDirFolder->insertItem(lastPathComponent(path), path, kCustomFolderItem);
}

void FendrelPref::revealWebDir(void*)
{
    if (o_.workspace)
        o_.workspace->revealFolder(fendrelLocation(kRoot).value_or(""));
}

void FendrelPref::setCustomWebDirAllowed(KLButton* sender)
{
    if (sender)
        setCustomWebDirAllowed(KLState(sender->state()));
}

void FendrelPref::setCustomWebDirAllowed(const KLState& state)
{
    if (manuallyEdited_ && defaults().integerForKey(kProtectedFolder) > 1) {
        setCheck(o_.customDirCheck, true);
        presentManualEditingErrorWithInvocation(heldBackAction(kSetCustomWebDirAllowed, 0));
        return;
    }
    bool on = state.state() != 0;
    setCheck(o_.customDirCheck, on);
    defaults().setBool(on, kAllowCustomWebDir);
    if (o_.remoteApacheCheck)
        o_.remoteApacheCheck->setEnabled(on);

    int items = o_.webDirFolder ? o_.webDirFolder->numberOfItems() : 0;
    if (on) {
        if (items <= 2) {
            if (o_.webDirFolder) {
                o_.webDirFolder->addSeparator();
                o_.webDirFolder->addItem(customItemTitle());
            }
            setCustomWebDir(defaults().stringForKey(kWebDir).value_or(""));
        }
        return;
    }
    setCheck(o_.remoteApacheCheck, false);
    setUsesRemoteApache(KLState(o_.remoteApacheCheck ? o_.remoteApacheCheck->state() : 0));
    if (o_.webDirFolder) {
        for (int i = items - 1; i >= 2; --i)
            o_.webDirFolder->removeItemAtIndex(i);
        // A custom root in use falls back to the built-in root now shown.
        setWebDirRoot(o_.webDirFolder);
    }
}

void FendrelPref::setUsesRemoteApache(KLButton* sender)
{
    if (sender)
        setUsesRemoteApache(KLState(sender->state()));
}

void FendrelPref::setUsesRemoteApache(const KLState& state)
{
    bool remote = state.state() != 0;
    defaults().setBool(remote, kUsesRemoteApache);
    bool tabShown = o_.tabs && o_.tabs->indexOfItemWithIdentifier(kApacheTab) >= 0;
    if (!remote && o_.tabs && !tabShown) {
        loadApache(true);
        if (!apacheTabViewItem_.empty())
            o_.tabs->insertItem(apacheTabViewItem_, kApacheTabIndex);
    } else if (remote && tabShown) {
        loadApache(false);
        o_.tabs->removeItem(apacheTabViewItem_.empty() ? std::string(kApacheTab) : apacheTabViewItem_);
    }
}

void FendrelPref::loadApache(bool load)
{
    if (!apache_ && load) {
        apache_ = apacheFactory_ ? apacheFactory_() : defaultApacheController();
        if (apache_) {
            apacheTabViewItem_ = apache_->tabViewItem();
            apache_->setStatusDisplay(o_.fendrelStatus);
            if (o_.apache)
                apache_->awakeFromNib(*o_.apache);
        }
    }
    if (apache_ && !defaults().boolForKey(kUsesRemoteApache)) {
        apache_->enable();
        return;
    }
    if (apache_)
        apache_->disable();
    if (o_.fendrelStatus) {
        o_.fendrelStatus->setStringValue(kApacheUnavailable);
        o_.fendrelStatus->setTextColor(kUnavailableColor);
    }
}

std::shared_ptr<KLApacheController> FendrelPref::defaultApacheController() const
{
    return std::make_shared<KLApacheController>();
}

void FendrelPref::setApacheFactory(std::function<std::shared_ptr<KLApacheController>()> factory)
{
    apacheFactory_ = std::move(factory);
}

void FendrelPref::setManualEditVisible(KLButton* sender)
{
    if (sender)
        setManualEditVisible(KLState(sender->state()));
}

void FendrelPref::setManualEditVisible(const KLState& state)
{
    if (manuallyEdited_) {
        setCheck(o_.manualEditCheck, true);
        presentManualEditingErrorWithInvocation(heldBackAction(kSetManualEditVisible, 0));
        return;
    }
    bool on = state.state() != 0;
    setCheck(o_.manualEditCheck, on);
    defaults().setBool(on, kShowManualEditor);
    if (!o_.userAddressTabs)
        return;
    bool shown = o_.userAddressTabs->indexOfItemWithIdentifier(kCustomTab) >= 0;
    if (on && !shown) {
        showCustomEditor(nullptr);
        o_.userAddressTabs->addItem(kCustomTab);
    } else if (!on && shown) {
        o_.userAddressTabs->removeItem(kCustomTab);
    }
}
