// Other programs (htpasswd, an editor, a deployment script) change the users,
// groups and access files while the pane is shown: the pane reads them again
// and shows what they say now, keeping the selection; a write that cannot
// happen is told in one alert, and the files stay as they are.

#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLFSItem.h"
#include "KLFileExtensions.h"
#include "KLFileWatcher.h"
#include "KLGroupsDataSource.h"
#include "KLListView.h"
#include "KLRunLoop.h"
#include "KLStringExtensions.h"
#include "KLUsersDataSource.h"

namespace {
constexpr const char* kNotWrittenTitle = "A file was left as it is";
constexpr const char* kNotWrittenFormat = "%s was not changed: %s.";
constexpr const char* kRootGoneTitle = "The protected folder is gone";
constexpr const char* kRootGoneFormat =
    "%s no longer exists. Fendrel changes nothing until it is back or another folder is chosen.";
constexpr double kWatchPeriodSeconds = 0.25;
} // namespace

void FendrelPref::startWatchingFiles()
{
    watcher_ = std::make_unique<KLFileWatcher>();
    watchShownFolders();
    watchTimer_ = KLRunLoop::main().scheduleRepeating(kWatchPeriodSeconds, [this] { checkFilesOnDisk(); });
}

void FendrelPref::stopWatchingFiles()
{
    if (watchTimer_)
        watchTimer_->cancel();
    watchTimer_.reset();
    watcher_.reset();
}

void FendrelPref::watchShownFolders()
{
    if (!watcher_)
        return;
    // The root's own watch also reports the folder going away.
    for (int code : {kRoot, kUsersFile, kGroupsFile}) {
        if (std::optional<std::string> path = fendrelLocation(code))
            watcher_->watchFolder(code == kRoot ? *path : stringByDeletingLastPathComponent(*path));
    }
    if (!o_.webDirOutline)
        return;
    for (int row = 0; row < o_.webDirOutline->numberOfRows(); ++row) {
        if (auto* item = static_cast<KLFSItem*>(o_.webDirOutline->itemAtRow(row)))
            watcher_->watchFolder(item->fullPath());
    }
}

void FendrelPref::checkFilesOnDisk()
{
    if (!watcher_)
        return;
    // Folders opened since the last turn are watched from now on.
    watchShownFolders();
    bool changed = watcher_->takeChanges();
    // A check held back by unsaved manual edits runs once they are settled.
    if (changed || (recheckAfterEdit_ && !manuallyEdited_))
        filesDidChangeOnDisk();
}

void FendrelPref::filesDidChangeOnDisk()
{
    recheckAfterEdit_ = false;
    std::string root = fendrelLocation(kRoot).value_or("");
    if (!isFolder(root)) {
        showRootGone(root);
        return;
    }
    if (rootGone_) {
        // Back again: everything is read afresh.
        rootGone_ = false;
        reloadUsersAndGroups();
        rebuildFolderTree();
        return;
    }
    bool usersChanged = users_ && users_->fileChangedOnDisk();
    if (usersChanged || (groups_ && groups_->fileChangedOnDisk()))
        reloadCredentialsKeepingSelection();
    if (!o_.webDirOutline)
        return;
    bool selectedChanged = false;
    for (int row = 0; row < o_.webDirOutline->numberOfRows(); ++row) {
        auto* item = static_cast<KLFSItem*>(o_.webDirOutline->itemAtRow(row));
        if (!item)
            continue;
        // An unsaved manual edit of this file is settled first (saving asks).
        if (item == fsItem_ && manuallyEdited_) {
            accessFileChangedUnderEdit_ = accessFileChangedUnderEdit_ || item->accessFileChangedOnDisk();
            recheckAfterEdit_ = true;
            continue;
        }
        if (item->reloadIfChangedOnDisk()) {
            o_.webDirOutline->reloadItem(item);
            selectedChanged = selectedChanged || item == fsItem_;
        }
    }
    if (selectedChanged || usersChanged)
        webOutlineClick(nullptr);
}

void FendrelPref::reloadCredentialsKeepingSelection()
{
    std::string user;
    if (o_.userTable && users_ && o_.userTable->selectedRow() > 0)
        user = users_->objectAtRow(o_.userTable->selectedRow(), KLUsersDataSource::kUserColumn).description();
    std::string group, member;
    if (o_.groupOutline) {
        if (auto* node = static_cast<KLUserItem*>(o_.groupOutline->itemAtRow(o_.groupOutline->selectedRow()))) {
            bool isMember = !node->hasChildren() && node->parent();
            group = isMember ? node->parent()->value() : node->value();
            member = isMember ? node->value() : std::string();
        }
    }
    reloadUsersAndGroups();
    if (o_.userTable) {
        std::vector<std::string> names = userArray().value_or(std::vector<std::string>{});
        auto found = std::find(names.begin(), names.end(), user);
        if (!user.empty() && found != names.end())
            o_.userTable->selectRow(static_cast<int>(found - names.begin()) + 1, false);
        else
            o_.userTable->deselectAll();
    }
    if (o_.groupOutline) {
        KLUserItem* keep = nullptr;
        for (const auto& node : groups_->rootArray()) {
            if (node->value() != group)
                continue;
            keep = node.get();
            for (const auto& child : *node->children())
                if (!member.empty() && child->value() == member)
                    keep = child.get();
        }
        int row = keep ? o_.groupOutline->rowForItem(keep) : -1;
        if (row >= 0)
            o_.groupOutline->selectRow(row, false);
        else
            o_.groupOutline->deselectAll();
    }
    userClick(nullptr);
    groupClick(nullptr);
}

void FendrelPref::fileNotWritten(const std::string& path, const std::string& reason)
{
    std::string root = fendrelLocation(kRoot).value_or("");
    if (!isFolder(root)) {
        showRootGone(root);
        return;
    }
    // One change may leave several files; one alert tells it.
    if (notWrittenShown_ || !o_.alerts)
        return;
    notWrittenShown_ = true;
    KLAlert alert;
    alert.title = kNotWrittenTitle;
    alert.message = stringWithFormat(kNotWrittenFormat, path.c_str(), reason.c_str());
    alert.defaultButton = "OK";
    o_.alerts->beginAlertSheet(alert, [this](int) { notWrittenShown_ = false; });
}

void FendrelPref::showRootGone(const std::string& root)
{
    if (rootGone_)
        return;
    rootGone_ = true;
    if (!o_.alerts)
        return;
    KLAlert alert;
    alert.title = kRootGoneTitle;
    alert.message = stringWithFormat(kRootGoneFormat, root.c_str());
    alert.defaultButton = "OK";
    o_.alerts->beginAlertSheet(alert, nullptr);
}
