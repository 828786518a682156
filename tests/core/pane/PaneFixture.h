#pragma once

#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLAddressDataSource.h"
#include "KLBundle.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFileExtensions.h"
#include "KLGroupsDataSource.h"
#include "KLLog.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

// A pane woken up over fake outlets, its protected folder a temporary custom root.
class PaneTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", "macos", 1);
        FendrelPref::initialize();
        for (const auto& [key, value] : defaults().storedValues())
            defaults().removeDefaultForKey(key);
        defaults().setInteger(2, "Fendrel Protected Folder");
        defaults().setObject(KLPlist(root.path()), "Web Dir");
        defaults().setBool(true, "Allow Custom Web Dir");
        KLSetLogSink([this](const std::string& line) { log.push_back(line); });

        webDirFolder.addItem("Sites");
        webDirFolder.addItem("Documents");
        tabs.ids = {"access", "apache", "options", "about"};
        userAddressTabs.ids = {"users", "addresses"};

        o = FendrelPrefOutlets{
            .window = &window, .tabs = &tabs, .fendrelStatus = &fendrelStatus, .userAddPanel = &userAddPanel,
            .userField = &userField, .errorField = &errorField, .confirmField = &confirmField,
            .passField = &passField, .passwordWarningField = &passwordWarningField, .webDirOutline = &webDirOutline,
            .directoryMenu = &directoryMenu, .userAddressTabs = &userAddressTabs, .userTable = &userTable,
            .userEditButton = &userEditButton, .userDeleteButton = &userDeleteButton, .groupOutline = &groupOutline,
            .groupDeleteButton = &groupDeleteButton, .addressMode = &addressMode, .addressTable = &addressTable,
            .addressDeleteButton = &addressDeleteButton, .addressDiscoverSwitch = &addressDiscoverSwitch,
            .customViewText = &customViewText, .customSaveButton = &customSaveButton,
            .customRevertButton = &customRevertButton, .userSortCheck = &userSortCheck,
            .groupSortCheck = &groupSortCheck, .accessFileDeleteCheck = &accessFileDeleteCheck,
            .userDeleteCheck = &userDeleteCheck, .groupDeleteCheck = &groupDeleteCheck, .webDirFolder = &webDirFolder,
            .manualEditCheck = &manualEditCheck, .customDirCheck = &customDirCheck,
            .remoteApacheCheck = &remoteApacheCheck, .passwordHashMenu = &passwordHashMenu,
            .nameVersionText = &nameVersionText, .creditsText = &creditsText,
            .versionCheckButton = &versionCheckButton, .versionCheckProgress = &versionCheckProgress,
            .launchVersionCheck = &launchVersionCheck, .lastCheckText = &lastCheckText, .helpWindow = &helpWindow,
            .helpWebView = &helpWebView, .alerts = &alerts, .workspace = &workspace};
    }

    void TearDown() override
    {
        pref.reset();
        KLSetLogSink(nullptr);
        ::unsetenv("FENDREL_LAYOUT");
    }

    void wake()
    {
        pref = std::make_unique<FendrelPref>();
        pref->initWithBundle(KLBundle::main());
        pref->setApacheFactory([] { return nullptr; });
        pref->setOutlets(o);
        pref->awakeFromNib();
        showTree();
        showUsers();
        showGroups();
    }

    static KLUserDefaults& defaults() { return KLUserDefaults::standardUserDefaults(); }

    void showTree()
    {
        webDirOutline.rows.clear();
        std::function<void(KLFSItem*)> add = [&](KLFSItem* item) {
            webDirOutline.rows.push_back(item);
            for (KLFSItem* child : item->children())
                add(child);
        };
        if (pref->files() && pref->files()->rootItem())
            add(pref->files()->rootItem());
    }
    void showUsers() { userTable.rowCount = pref->users() ? pref->users()->numberOfRows() : 0; }
    void showGroups()
    {
        groupOutline.rows.clear();
        if (!pref->groups())
            return;
        for (auto& group : pref->groups()->rootArray()) {
            groupOutline.rows.push_back(group.get());
            for (auto& member : *group->children())
                groupOutline.rows.push_back(member.get());
        }
    }
    // Clicks a folder by its path below the root ("" for the root).
    KLFSItem* selectFolder(const std::string& relative)
    {
        std::string path = relative.empty() ? root.path() : root.path() + "/" + relative;
        for (std::size_t i = 0; i < webDirOutline.rows.size(); ++i) {
            auto* item = static_cast<KLFSItem*>(webDirOutline.rows[i]);
            if (item->fullPath() == path) {
                webDirOutline.selectRow(static_cast<int>(i), false);
                pref->webOutlineClick(&webDirOutline);
                return item;
            }
        }
        ADD_FAILURE() << "no folder " << path;
        return nullptr;
    }
    std::vector<std::string> userNames() const { return pref->userArray().value_or(std::vector<std::string>{}); }

    TempDir root;
    FendrelPrefOutlets o;
    FakeWindow window, userAddPanel, helpWindow;
    FakeTabView tabs, userAddressTabs;
    FakeTextField fendrelStatus, userField, errorField, confirmField, passField, nameVersionText, lastCheckText,
        passwordWarningField;
    FakeListView webDirOutline{"webDirOutline"}, userTable{"userTable"}, groupOutline{"groupOutline"},
        addressTable{"addressTable"};
    FakePopUpButton directoryMenu, webDirFolder, passwordHashMenu;
    FakeButton userEditButton, userDeleteButton, groupDeleteButton, addressDeleteButton, addressDiscoverSwitch,
        customSaveButton, customRevertButton, userSortCheck, groupSortCheck, accessFileDeleteCheck, userDeleteCheck,
        groupDeleteCheck, manualEditCheck, customDirCheck, remoteApacheCheck, versionCheckButton, launchVersionCheck;
    FakeMatrix addressMode;
    FakeTextView customViewText, creditsText, helpWebView;
    FakeProgressIndicator versionCheckProgress;
    FakeAlerts alerts;
    FakeWorkspace workspace;
    std::vector<std::string> log;
    std::unique_ptr<FendrelPref> pref;
};
