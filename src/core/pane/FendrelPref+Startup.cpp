#include "FendrelPref.h"

#include "KLAddressDataSource.h"
#include "KLApacheController.h"
#include "KLBundle.h"
#include "KLButton.h"
#include "KLCollectionExtensions.h"
#include "KLFSDataSource.h"
#include "KLGroupsDataSource.h"
#include "KLLayout.h"
#include "KLListView.h"
#include "KLLog.h"
#include "KLPopUpButton.h"
#include "KLStringExtensions.h"
#include "KLTextField.h"
#include "KLTextView.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "KLWindow.h"
#include "KLWorkspace.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {
constexpr double kContentWidth = 670;
constexpr double kContentHeight = 461;

constexpr const char* kUsesRemoteApache = "Uses Remote Apache";
constexpr const char* kShouldDiscoverAddresses = "Should Discover Addresses";
constexpr const char* kShowDeleteDialog = "Show Delete Dialog";
constexpr const char* kLastVersionCheck = "Last Version Check";
constexpr const char* kProtectedFolder = "Fendrel Protected Folder";
constexpr const char* kAllowCustomWebDir = "Allow Custom Web Dir";
constexpr const char* kShowManualEditor = "Show Manual Editor";
constexpr const char* kCheckForUpdates = "Check for Updates";
constexpr const char* kAddressArray = "Address Array";

constexpr const char* kHelpResource = "help";
constexpr const char* kCreditsResource = "credits";

constexpr const char* kWebsiteURL = "https://www.quillmoor.com/fendrel/";
constexpr const char* kDonateURL = "https://www.quillmoor.com/fendrel/donate/";

// The automatic update check runs on the first selection of the process only.
bool g_firstSelection = true;

KLUserDefaults& defaults()
{
    return KLUserDefaults::standardUserDefaults();
}

std::string resourceText(const std::string& name, const std::string& type)
{
    std::optional<std::string> path = KLBundle::main().pathForResource(name, type);
    if (!path)
        return {};
    std::ifstream in(*path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}
} // namespace

void FendrelPref::awakeFromNib()
{
    if (o_.window)
        o_.window->setContentSize(kContentWidth, kContentHeight);
    if (!defaults().boolForKey(kUsesRemoteApache))
        loadApache(true);

    if (o_.helpWebView)
        o_.helpWebView->setString(resourceText(kHelpResource, "html"));
    if (o_.creditsText)
        o_.creditsText->setString(resourceText(kCreditsResource, "html"));
    if (o_.nameVersionText)
        o_.nameVersionText->setStringValue(applicationVersion());

    if (o_.addressDiscoverSwitch)
        o_.addressDiscoverSwitch->setState(defaults().boolForKey(kShouldDiscoverAddresses) ? 1 : 0);
    setShouldShowDeleteDialog(defaults().boolForKey(kShowDeleteDialog));
    setSecondsSinceCheck(defaults().doubleForKey(kLastVersionCheck));

    // Turning custom folders off falls back to the root the menu shows, so
    // the menu first shows the stored built-in root (anything but 1 means the
    // personal folder); otherwise every start would store the menu's first item.
    if (o_.webDirFolder)
        o_.webDirFolder->selectItemAtIndex(defaults().integerForKey(kProtectedFolder) == 1 ? 1 : 0);
    waking_ = true;
    setCustomWebDirAllowed(KLState(defaults().boolForKey(kAllowCustomWebDir)));
    setManualEditVisible(KLState(defaults().boolForKey(kShowManualEditor)));
    setUsesRemoteApache(KLState(defaults().boolForKey(kUsesRemoteApache)));
    readOptions();
    waking_ = false;

    if (o_.webDirFolder && o_.webDirFolder->numberOfItems() >= 2) {
        const char* home = std::getenv("HOME");
        const KLLayout& layout = KLLayout::active();
        o_.webDirFolder->setItemIcon(0, stringByAppendingPathComponent(home ? home : "", layout.personalWebFolder));
        o_.webDirFolder->setItemIcon(1, layout.sharedDocumentRoot);
    }

    reloadUsersAndGroups();
    setTables();
    userClick(nullptr);
    groupClick(nullptr);
    webOutlineClick(nullptr);
}

void FendrelPref::reloadUsersAndGroups()
{
    setUsers(KLUsersDataSource::initWithUserfile());
    if (o_.userTable) {
        o_.userTable->setDataSource(users_.get());
        o_.userTable->reloadData();
    }
    setGroups(KLGroupsDataSource::initWithUsers(
        [users = users_]() -> const KLNameSet& { return users->nameSet(); }));
    if (users_->couldNotReadFile())
        groups_->setMembersIncomplete();
    groups_->setOutlineView(o_.groupOutline);
    groups_->setAction([this] { groupClick(nullptr); });
    if (o_.groupOutline) {
        o_.groupOutline->setDataSource(groups_.get());
        o_.groupOutline->reloadData();
    }
}

void FendrelPref::setTables()
{
    fsItem_ = nullptr;
    // The known addresses come first: the root folder's access file is read
    // as soon as the tree exists, and its address lists are filtered by (and
    // discovered into) this list. Read against an empty list they would be
    // lost from the file at its next write.
    addresses_ = std::make_shared<KLPlist::Array>();
    std::vector<std::string> stored;
    if (std::optional<KLPlist::Array> list = defaults().arrayForKey(kAddressArray))
        for (const KLPlist& address : *list)
            stored.push_back(address.description());
    addAddressesFromArray(stored);
    addressSource_ = std::make_shared<KLAddressDataSource>(addresses_);
    if (o_.addressTable) {
        o_.addressTable->setDataSource(addressSource_.get());
        o_.addressTable->reloadData();
    }

    files_ = std::make_shared<KLFSDataSource>(fendrelLocation(kRoot).value_or(""));
    if (o_.directoryMenu && o_.directoryMenu->numberOfItems() > 0) {
        std::vector<std::string> modes;
        for (int i = 0; i < o_.directoryMenu->numberOfItems(); ++i)
            modes.push_back(o_.directoryMenu->itemTitleAtIndex(i));
        files_->setMenu(std::move(modes));
    }
    if (o_.webDirOutline) {
        o_.webDirOutline->setDataSource(files_.get());
        o_.webDirOutline->reloadData();
    }

}

KLUnselectReply FendrelPref::shouldUnselect()
{
    if (!manuallyEdited_)
        return KLUnselectReply::Now;
    presentManualEditingErrorWithInvocation(heldBackAction(kReplyToShouldUnselect, true));
    return KLUnselectReply::Later;
}

void FendrelPref::replyToShouldUnselect(bool shouldUnselect)
{
    if (unselectReplyHandler_)
        unselectReplyHandler_(shouldUnselect);
}

void FendrelPref::setUnselectReplyHandler(std::function<void(bool)> handler)
{
    unselectReplyHandler_ = std::move(handler);
}

void FendrelPref::didSelect()
{
    if (defaults().boolForKey(kCheckForUpdates) && g_firstSelection) {
        // Without the update panel the pane still shows; the check is skipped.
        try {
            beginSWUCheck(nullptr);
        } catch (const std::runtime_error& e) {
            KLLog(e.what());
        }
    }
    g_firstSelection = false;
    if (apache_)
        apache_->enable();
    showCustomEditor(nullptr);
    startWatchingFiles();
}

void FendrelPref::didUnselect()
{
    if (o_.helpWindow)
        o_.helpWindow->orderOut();
    stopWatchingFiles();
    // A file that is not written is told by its source.
    if (users_)
        users_->writeUserfile();
    if (groups_)
        groups_->writeGroupfile();
    if (apache_)
        apache_->disable();
}

void FendrelPref::help(void*)
{
    if (o_.helpWindow)
        o_.helpWindow->orderFront();
}

void FendrelPref::loadWebsite(void*)
{
    if (o_.workspace)
        o_.workspace->openURL(kWebsiteURL);
}

void FendrelPref::donate(void*)
{
    if (o_.workspace)
        o_.workspace->openURL(kDonateURL);
}
