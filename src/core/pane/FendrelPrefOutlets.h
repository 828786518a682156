#pragma once

struct KLApacheControllerOutlets;
struct KLSUControllerOutlets;
class KLAlerts;
class KLButton;
class KLListView;
class KLMatrix;
class KLPopUpButton;
class KLProgressIndicator;
class KLTabView;
class KLTextField;
class KLTextView;
class KLWindow;
class KLWorkspace;

// The views of the pane as the controller sees them, named as the window
// description names them. The toolkit side (Qt widgets, the command line's
// headless views, test fakes) fills this in before the controller wakes up;
// the controller only reads and sets them.
struct FendrelPrefOutlets
{
    KLWindow* window = nullptr;
    KLTabView* tabs = nullptr; // top-level tabs; holds "apache"
    KLTextField* fendrelStatus = nullptr;

    // The new-user / edit-user sheet.
    KLWindow* userAddPanel = nullptr;
    KLTextField* userField = nullptr;
    KLTextField* errorField = nullptr;
    KLTextField* confirmField = nullptr;
    KLTextField* passField = nullptr;
    KLTextField* passwordWarningField = nullptr; // under the password fields

    KLListView* webDirOutline = nullptr;
    // The web server's answer for the selected folder, in words; without it
    // the pane does not ask the server.
    KLTextField* accessCheckText = nullptr;
    KLPopUpButton* directoryMenu = nullptr;
    KLTabView* userAddressTabs = nullptr; // users, addresses and, when shown, "custom"

    KLListView* userTable = nullptr;
    KLButton* userEditButton = nullptr;
    KLButton* userDeleteButton = nullptr;
    KLListView* groupOutline = nullptr;
    KLButton* groupDeleteButton = nullptr;

    KLMatrix* addressMode = nullptr; // row 0 allow, row 1 deny
    KLListView* addressTable = nullptr;
    KLButton* addressDeleteButton = nullptr;
    KLButton* addressDiscoverSwitch = nullptr;

    KLTextView* customViewText = nullptr;
    KLButton* customSaveButton = nullptr;
    KLButton* customRevertButton = nullptr;

    // The options tab.
    KLButton* userSortCheck = nullptr;
    KLButton* groupSortCheck = nullptr;
    KLButton* accessFileDeleteCheck = nullptr;
    KLButton* userDeleteCheck = nullptr;
    KLButton* groupDeleteCheck = nullptr;
    KLPopUpButton* webDirFolder = nullptr;
    KLButton* manualEditCheck = nullptr;
    KLButton* customDirCheck = nullptr;
    KLButton* remoteApacheCheck = nullptr;
    KLPopUpButton* passwordHashMenu = nullptr; // items titled by KLPasswordHash::nameOf

    // About box and software update.
    KLTextField* nameVersionText = nullptr;
    KLTextView* creditsText = nullptr;
    KLButton* versionCheckButton = nullptr;
    KLProgressIndicator* versionCheckProgress = nullptr;
    KLButton* launchVersionCheck = nullptr;
    KLTextField* lastCheckText = nullptr;

    KLWindow* helpWindow = nullptr;
    KLTextView* helpWebView = nullptr; // shows the help page's HTML

    // Sheets, panels and the desktop.
    KLAlerts* alerts = nullptr;
    KLWorkspace* workspace = nullptr;

    // The web server tab's views, handed to the web server controller when
    // the pane makes it; null leaves the controller without views.
    KLApacheControllerOutlets* apache = nullptr;
    // The update panel ("SWU"), handed to the update controller when the
    // first check starts; null makes the update check unavailable.
    KLSUControllerOutlets* swu = nullptr;
};
