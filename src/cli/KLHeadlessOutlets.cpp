#include "KLHeadlessOutlets.h"

namespace {
// The tabs and menu entries the window description gives the pane.
constexpr const char* kUsersTab = "users";
constexpr const char* kAddressesTab = "addresses";
constexpr const char* kFoldersTab = "folders";
constexpr const char* kOptionsTab = "options";
constexpr const char* kApacheTab = "apache";
constexpr const char* kSitesItem = "Sites";
constexpr const char* kDocumentsItem = "Documents";
} // namespace

KLHeadlessOutlets::KLHeadlessOutlets(bool assumeYes) : alerts(assumeYes)
{
    for (const char* tab : {kFoldersTab, kOptionsTab, kApacheTab})
        tabs.addItem(tab);
    for (const char* tab : {kUsersTab, kAddressesTab})
        userAddressTabs.addItem(tab);
    webDirFolder.addItem(kSitesItem);
    webDirFolder.addItem(kDocumentsItem);
    addressMode.selectCellAtRow(0);
}

FendrelPrefOutlets KLHeadlessOutlets::outlets()
{
    FendrelPrefOutlets o;
    o.window = &window;
    o.tabs = &tabs;
    o.fendrelStatus = &fendrelStatus;
    o.userAddPanel = &userAddPanel;
    o.userField = &userField;
    o.errorField = &errorField;
    o.confirmField = &confirmField;
    o.passField = &passField;
    o.webDirOutline = &webDirOutline;
    o.directoryMenu = &directoryMenu;
    o.userAddressTabs = &userAddressTabs;
    o.userTable = &userTable;
    o.userEditButton = &userEditButton;
    o.userDeleteButton = &userDeleteButton;
    o.groupOutline = &groupOutline;
    o.groupDeleteButton = &groupDeleteButton;
    o.addressMode = &addressMode;
    o.addressTable = &addressTable;
    o.addressDeleteButton = &addressDeleteButton;
    o.addressDiscoverSwitch = &addressDiscoverSwitch;
    o.customViewText = &customViewText;
    o.customSaveButton = &customSaveButton;
    o.customRevertButton = &customRevertButton;
    o.userSortCheck = &userSortCheck;
    o.groupSortCheck = &groupSortCheck;
    o.accessFileDeleteCheck = &accessFileDeleteCheck;
    o.userDeleteCheck = &userDeleteCheck;
    o.groupDeleteCheck = &groupDeleteCheck;
    o.webDirFolder = &webDirFolder;
    o.manualEditCheck = &manualEditCheck;
    o.customDirCheck = &customDirCheck;
    o.remoteApacheCheck = &remoteApacheCheck;
    o.nameVersionText = &nameVersionText;
    o.creditsText = &creditsText;
    o.versionCheckButton = &versionCheckButton;
    o.versionCheckProgress = &versionCheckProgress;
    o.launchVersionCheck = &launchVersionCheck;
    o.lastCheckText = &lastCheckText;
    o.helpWindow = &helpWindow;
    o.helpWebView = &helpWebView;
    o.alerts = &alerts;
    o.workspace = &workspace;

    swu_.swuPanel = &swuPanel;
    swu_.progressBar = &progressBar;
    swu_.releaseNotes = &releaseNotes;
    swu_.noteField = &noteField;
    swu_.detailsTable = &detailsTable;
    swu_.alerts = &alerts;
    swu_.workspace = &workspace;
    o.swu = &swu_;
    return o;
}
