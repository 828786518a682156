#pragma once

#include "FendrelPrefOutlets.h"
#include "KLHeadlessButton.h"
#include "KLHeadlessListView.h"
#include "KLHeadlessMatrix.h"
#include "KLHeadlessPopUpButton.h"
#include "KLHeadlessProgressIndicator.h"
#include "KLHeadlessTabView.h"
#include "KLHeadlessTextField.h"
#include "KLHeadlessTextView.h"
#include "KLHeadlessWindow.h"
#include "KLPrintingWorkspace.h"
#include "KLSUControllerOutlets.h"
#include "KLTerminalAlerts.h"

// Every view of the pane, without a screen, owned in one place and handed to
// the controller as its outlets. The command line drives the controller
// through them (it types into the user sheet, selects rows, sets the
// address mode) and reads back what the controller set.
class KLHeadlessOutlets
{
public:
    explicit KLHeadlessOutlets(bool assumeYes);
    KLHeadlessOutlets(const KLHeadlessOutlets&) = delete;
    KLHeadlessOutlets& operator=(const KLHeadlessOutlets&) = delete;

    FendrelPrefOutlets outlets();

    KLHeadlessWindow window;
    KLHeadlessTabView tabs;
    KLHeadlessTextField fendrelStatus;

    KLHeadlessWindow userAddPanel;
    KLHeadlessTextField userField, errorField, confirmField, passField;

    KLHeadlessListView webDirOutline{"webDirOutline"};
    KLHeadlessPopUpButton directoryMenu;
    KLHeadlessTabView userAddressTabs;

    KLHeadlessListView userTable{"userTable"};
    KLHeadlessButton userEditButton, userDeleteButton;
    KLHeadlessListView groupOutline{"groupOutline"};
    KLHeadlessButton groupDeleteButton;

    KLHeadlessMatrix addressMode;
    KLHeadlessListView addressTable{"addressTable"};
    KLHeadlessButton addressDeleteButton, addressDiscoverSwitch;

    KLHeadlessTextView customViewText;
    KLHeadlessButton customSaveButton, customRevertButton;

    KLHeadlessButton userSortCheck, groupSortCheck, accessFileDeleteCheck, userDeleteCheck, groupDeleteCheck;
    KLHeadlessPopUpButton webDirFolder;
    KLHeadlessButton manualEditCheck, customDirCheck, remoteApacheCheck;

    KLHeadlessTextField nameVersionText;
    KLHeadlessTextView creditsText;
    KLHeadlessButton versionCheckButton;
    KLHeadlessProgressIndicator versionCheckProgress;
    KLHeadlessButton launchVersionCheck;
    KLHeadlessTextField lastCheckText;

    KLHeadlessWindow helpWindow;
    KLHeadlessTextView helpWebView;

    // The update panel the update controller fills when a newer version is
    // offered.
    KLHeadlessWindow swuPanel;
    KLHeadlessProgressIndicator progressBar;
    KLHeadlessTextView releaseNotes;
    KLHeadlessTextField noteField;
    KLHeadlessListView detailsTable{"detailsTable"};

    KLTerminalAlerts alerts;
    KLPrintingWorkspace workspace;

private:
    KLSUControllerOutlets swu_;
};
