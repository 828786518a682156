#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLButton.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLListView.h"
#include "KLMatrix.h"
#include "KLPopUpButton.h"
#include "KLStringExtensions.h"
#include "KLTextField.h"
#include "KLTextView.h"
#include "KLUserDefaults.h"
#include "KLWorkspace.h"

#include <pwd.h>
#include <unistd.h>

namespace {
constexpr const char* kDeleteAccessTitle = "Delete Access File";
constexpr const char* kDeleteAccessFormat =
    "Are you sure you want to permanently delete all access restrictions for \"%s\"?\n\nThis action cannot be undone.";
constexpr const char* kSiteProtocol = "Apache Site Protocol";
constexpr const char* kSiteAddress = "Apache Site Address";
constexpr const char* kSiteBaseFormat = "%s://%s";
constexpr const char* kPersonalFolderFormat = "~%s";

constexpr int kAllowRow = 0;
constexpr int kDenyRow = 1;
constexpr int kPersonalRootItem = 0;
constexpr int kDontAskAgain = 0;
constexpr int kCancelReturn = -1;

std::string loginName()
{
    if (const passwd* entry = getpwuid(getuid()))
        return entry->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}

// Joins with exactly one "/" between the parts.
std::string joinWithSlash(const std::string& base, const std::string& component)
{
    if (component.empty())
        return base;
    if (base.empty())
        return component;
    bool baseSlash = base.back() == '/';
    bool componentSlash = component.front() == '/';
    if (baseSlash && componentSlash)
        return base + component.substr(1);
    if (baseSlash || componentSlash)
        return base + component;
    return base + "/" + component;
}
} // namespace

void FendrelPref::webOutlineClick(void*)
{
    // Folder selection is frozen while the manual editor holds unsaved text.
    if (manuallyEdited_)
        return;
    fsItem_ = nullptr;
    if (o_.webDirOutline) {
        fsItem_ = static_cast<KLFSItem*>(o_.webDirOutline->itemAtRow(o_.webDirOutline->selectedRow()));
        if (fsItem_)
            o_.webDirOutline->reloadItem(fsItem_);
    }
    bool hasFile = fsItem_ && fsItem_->hasAccessFile();
    if (o_.customViewText)
        o_.customViewText->setEditable(hasFile);
    if (o_.customSaveButton)
        o_.customSaveButton->setEnabled(hasFile);
    if (o_.customRevertButton)
        o_.customRevertButton->setEnabled(hasFile);

    if (o_.accessCheckText)
        o_.accessCheckText->setStringValue(accessCheckText());
    setAddressViewsForItem(fsItem_);
    if (o_.userTable)
        o_.userTable->reloadData();
    if (o_.groupOutline)
        o_.groupOutline->reloadData();
    showCustomEditor(nullptr);
}

void FendrelPref::setAddressViewsForItem(KLFSItem* item)
{
    if (o_.addressMode) {
        o_.addressMode->selectCellAtRow(!item || item->isAllowSet() ? kAllowRow : kDenyRow);
        o_.addressMode->setEnabled(fsItem_ && fsItem_->isAddressProtected());
    }
    if (o_.addressTable)
        o_.addressTable->reloadData();
}

void FendrelPref::changeAddressMode(KLMatrix* matrix)
{
    if (manuallyEdited_) {
        // The same deferred action as hiding the editor, not a replay of the
        // mode change: the matrix keeps what the user clicked.
        if (o_.manualEditCheck)
            o_.manualEditCheck->setState(1);
        presentManualEditingErrorWithInvocation(heldBackAction(kSetManualEditVisible, 0));
        return;
    }
    if (fsItem_ && matrix)
        fsItem_->setAllow(matrix->selectedRow() == kAllowRow);
    if (o_.addressTable)
        o_.addressTable->reloadData();
}

void FendrelPref::clearAccessPrompt(void*)
{
    fsItem_ = o_.webDirOutline
                  ? static_cast<KLFSItem*>(o_.webDirOutline->itemAtRow(o_.webDirOutline->selectedRow()))
                  : nullptr;
    if (!shouldShowDeleteDialog()) {
        clearAccess(nullptr, 1, nullptr);
        return;
    }
    KLAlert alert;
    alert.title = kDeleteAccessTitle;
    std::string name = fsItem_ ? fsItem_->relativePath() : std::string();
    alert.message = stringWithFormat(kDeleteAccessFormat, name.c_str());
    alert.defaultButton = "Delete";
    alert.otherButton = "Cancel";
    if (o_.alerts)
        o_.alerts->beginAlertSheet(alert, [this](int returnCode) { clearAccess(nullptr, returnCode, nullptr); });
}

void FendrelPref::clearAccess(void*, int returnCode, void*)
{
    if (returnCode == kCancelReturn)
        return;
    if (returnCode == kDontAskAgain)
        setShouldShowDeleteDialog(false);
    manuallyEdited_ = false;
    if (fsItem_)
        fsItem_->deleteAccessFile();
    webOutlineClick(nullptr);
}

void FendrelPref::webRefresh(void*)
{
    if (manuallyEdited_) {
        presentManualEditingErrorWithInvocation(heldBackAction(kWebRefresh, nullptr));
        return;
    }
    rebuildFolderTree();
    scheduleAccessCheck();
}

void FendrelPref::rebuildFolderTree()
{
    // The selected item goes with the old tree; the views follow the empty
    // selection until the user picks a folder of the new one.
    fsItem_ = nullptr;
    if (files_)
        files_->setRootPath(fendrelLocation(kRoot).value_or(""));
    if (o_.webDirOutline) {
        o_.webDirOutline->deselectAll();
        o_.webDirOutline->reloadData();
    }
    webOutlineClick(nullptr);
}

std::string FendrelPref::webAddressOfSelection() const
{
    const KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    std::string url = stringWithFormat(kSiteBaseFormat, defaults.stringForKey(kSiteProtocol).value_or("").c_str(),
                                       defaults.stringForKey(kSiteAddress).value_or("").c_str());
    // One component per level below the root, each the selected folder's own
    // name: a folder two levels down reads name/name. Kept so on purpose.
    std::string path;
    if (fsItem_) {
        for (std::shared_ptr<KLFSItem> level = fsItem_->parent(); level; level = level->parent())
            path = joinWithSlash(fsItem_->relativePath(), path);
    }
    if (o_.webDirFolder && o_.webDirFolder->indexOfSelectedItem() == kPersonalRootItem)
        url = joinWithSlash(url, stringWithFormat(kPersonalFolderFormat, loginName().c_str())) + "/";
    return joinWithSlash(url, path);
}

void FendrelPref::viewSelectionOnWeb(void*)
{
    if (o_.workspace)
        o_.workspace->openURL(webAddressOfSelection());
}
