#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLButton.h"
#include "KLFSItem.h"
#include "KLListView.h"
#include "KLLog.h"
#include "KLStringExtensions.h"
#include "KLTextView.h"

namespace {
constexpr const char* kSaveQuestionTitle = "Do you want to save manual editor changes?";
constexpr const char* kSaveQuestionMessage =
    "If you do not save your manual editor changes, they will be lost when performing this action";
constexpr const char* kChangedOnDiskTitle = "The access file was changed by another program";
constexpr const char* kChangedOnDiskFormat =
    "%s changed on disk while you edited it. Replace it with your text, or reload it and drop your edit?";
constexpr const char* kSheetEndError = "An error occurred in 'manualEditorSheetDidEnd:returnCode:contextInfo:'";

constexpr int kSave = 1;
constexpr int kDontSave = 0;
constexpr int kCancel = -1;
constexpr int kErrorReturn = -2;
constexpr int kReplace = 1;
constexpr int kReload = 0;
} // namespace

void FendrelPref::showCustomEditor(void*)
{
    // With unsaved edits the text stays on screen, but the edit is forgotten:
    // revert and the change notice rely on this.
    if (!manuallyEdited_ && o_.customViewText) {
        std::string text = fsItem_ ? fsItem_->stringValue() : std::string();
        o_.customViewText->setString(text);
        o_.customViewText->setSelectedRange(0, 0);
        accessFileChangedUnderEdit_ = false;
    }
    manuallyEdited_ = false;
    if (o_.customSaveButton)
        o_.customSaveButton->setEnabled(false);
    if (o_.customRevertButton)
        o_.customRevertButton->setEnabled(false);
}

void FendrelPref::textDidChange()
{
    manuallyEdited_ = true;
    if (o_.customSaveButton)
        o_.customSaveButton->setEnabled(true);
    if (o_.customRevertButton)
        o_.customRevertButton->setEnabled(true);
}

void FendrelPref::saveCustomEdit(void*)
{
    saveCustomEditAsking(nullptr);
}

void FendrelPref::saveCustomEditAsking(std::function<void(bool saved)> done)
{
    auto finish = [done](bool saved) {
        if (done)
            done(saved);
    };
    if (!fsItem_ || !o_.customViewText)
        return finish(true);
    // Another program changed the file since the editor was filled: never
    // written over without asking.
    if (!accessFileChangedUnderEdit_ && !fsItem_->accessFileChangedOnDisk()) {
        writeCustomEdit();
        return finish(true);
    }
    if (!o_.alerts)
        return finish(false);
    KLAlert alert;
    alert.title = kChangedOnDiskTitle;
    alert.message = stringWithFormat(kChangedOnDiskFormat, fsItem_->accessPath().c_str());
    alert.defaultButton = "Replace";
    alert.alternateButton = "Reload";
    alert.otherButton = "Cancel";
    KLFSItem* item = fsItem_;
    o_.alerts->beginAlertSheet(alert, [this, item, finish](int returnCode) {
        if (item != fsItem_ || (returnCode != kReplace && returnCode != kReload))
            return finish(false);
        accessFileChangedUnderEdit_ = false;
        bool edited = manuallyEdited_;
        if (returnCode == kReload)
            manuallyEdited_ = false;
        // Read as it is now: the editor's text replaces that, or shows it.
        item->reloadIfChangedOnDisk();
        if (returnCode == kReplace) {
            manuallyEdited_ = edited;
            writeCustomEdit();
        } else {
            showCustomEditor(nullptr);
            webOutlineClick(nullptr);
        }
        finish(true);
    });
}

void FendrelPref::writeCustomEdit()
{
    // The item's change notice refills the editor while the edit flag is
    // still set, which keeps the text and clears the flag.
    fsItem_->setStringValue(o_.customViewText->string());
    fsItem_->writeAccessFile();
    if (o_.webDirOutline) {
        int row = o_.webDirOutline->selectedRow();
        o_.webDirOutline->reloadItem(o_.webDirOutline->itemAtRow(row));
    }
    webOutlineClick(nullptr);
}

void FendrelPref::revertCustomEdit(void*)
{
    showCustomEditor(nullptr);
}

void FendrelPref::presentManualEditingErrorWithInvocation(KLInvocation invocation)
{
    if (!o_.alerts)
        return;
    KLAlert alert;
    alert.title = kSaveQuestionTitle;
    alert.message = kSaveQuestionMessage;
    alert.defaultButton = "Save";
    alert.alternateButton = "Don't Save";
    alert.otherButton = "Cancel";
    o_.alerts->beginAlertSheet(alert, [this, invocation = std::move(invocation)](int returnCode) {
        manualEditorSheetDidEnd(nullptr, returnCode, invocation);
    });
}

void FendrelPref::manualEditorSheetDidEnd(void*, int returnCode, KLInvocation invocation)
{
    switch (returnCode) {
    case kSave:
        saveCustomEditAsking([this, invocation](bool saved) mutable {
            if (saved) {
                manuallyEdited_ = false;
                invocation.invoke();
            } else if (invocation.selector() == kReplyToShouldUnselect) {
                invocation.setArgument(false);
                invocation.invoke();
            }
        });
        break;
    case kDontSave:
        manuallyEdited_ = false;
        invocation.invoke();
        break;
    case kCancel:
        // Only the host must hear that it stays; other actions are dropped.
        if (invocation.selector() == kReplyToShouldUnselect) {
            invocation.setArgument(false);
            invocation.invoke();
        }
        break;
    case kErrorReturn:
        KLLog(kSheetEndError);
        break;
    default:
        break;
    }
}

bool FendrelPref::shouldSelectTabViewItem(KLTabView*, const std::string&) const
{
    return true;
}

KLInvocation FendrelPref::heldBackAction(const std::string& selector, KLPlist argument)
{
    auto state = [](const KLPlist& a) { return KLState(static_cast<int>(a.integerReading().value_or(0))); };
    KLInvocation::Action action;
    if (selector == kSetWebDirRoot)
        action = [this, state](const KLPlist& a) { setWebDirRoot(state(a)); };
    else if (selector == kSetCustomWebDirAllowed)
        action = [this, state](const KLPlist& a) { setCustomWebDirAllowed(state(a)); };
    else if (selector == kSetManualEditVisible)
        action = [this, state](const KLPlist& a) { setManualEditVisible(state(a)); };
    else if (selector == kWebRefresh)
        action = [this](const KLPlist&) { webRefresh(nullptr); };
    else if (selector == kReplyToShouldUnselect)
        action = [this](const KLPlist& a) { replyToShouldUnselect(a.boolReading().value_or(false)); };
    return KLInvocation(selector, std::move(action), std::move(argument));
}
