#include "KLApacheController.h"
#include "KLPlainRunLoop.h"
#include "PaneFixture.h"

namespace {

using StartupTest = PaneTest;
using Names = std::vector<std::string>;

TEST_F(StartupTest, WakingBuildsTheMenuListsAndNoSelectionState)
{
    root.write(".htusers", "bob:abcdefghijklm\nalice:nopqrstuvwxyz\n");
    root.write(".htgroups", "staff: alice bob ghost\n");
    root.write("private/.htaccess", "Deny from 10.1.2.3\n");
    wake();
    EXPECT_EQ(std::pair(window.width, window.height), std::pair(670.0, 461.0));
    ASSERT_EQ(webDirFolder.numberOfItems(), 5);
    EXPECT_EQ(webDirFolder.items[2].title, lastPathComponent(root.path()));
    EXPECT_TRUE(webDirFolder.items[3].separator);
    EXPECT_EQ(webDirFolder.items[4].title, "Custom\u2026");
    EXPECT_EQ(webDirFolder.selected, 2);

    EXPECT_EQ(userNames(), (Names{"bob", "alice"}));
    EXPECT_EQ(pref->groupArray(), Names{"staff"});
    EXPECT_EQ(userTable.tableSource, static_cast<KLTableDataSource*>(pref->users()));
    EXPECT_EQ(groupOutline.outlineSource, static_cast<KLOutlineDataSource*>(pref->groups()));
    EXPECT_EQ(webDirOutline.outlineSource, static_cast<KLOutlineDataSource*>(pref->files()));
    EXPECT_EQ(pref->files()->rootPath(), root.path());
    // The stored list starts the addresses; folders found later add theirs.
    EXPECT_EQ(pref->addresses(), (KLPlist::Array{"127.0.0.1", "10.1.2.3"}));
    EXPECT_EQ(addressTable.tableSource, static_cast<KLTableDataSource*>(pref->addressSource()));

    EXPECT_EQ(std::tuple(userEditButton.enabled, userDeleteButton.enabled, groupDeleteButton.enabled,
                         customSaveButton.enabled, pref->selectedItem()),
              std::tuple(false, false, false, false, nullptr));
    EXPECT_EQ(lastCheckText.value, "Last Check: never");
    EXPECT_EQ(fendrelStatus.value, "Apache status not available"); // no server controller here
}

TEST_F(StartupTest, StoredRootOfFiveSelectsTheLastItemButMeansTheSites)
{
    defaults().setInteger(5, "Fendrel Protected Folder");
    wake();
    EXPECT_EQ(webDirFolder.selected, webDirFolder.numberOfItems() - 1);
    EXPECT_EQ(webDirFolder.itemTitleAtIndex(webDirFolder.selected), "Custom\u2026");
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 5);
    std::string sites = std::string(std::getenv("HOME")) + "/Sites";
    EXPECT_EQ(pref->fendrelLocation(4), sites);
    EXPECT_EQ(pref->files()->rootPath(), sites);
}

TEST_F(StartupTest, BuiltInRootSurvivesARestartWithoutCustomFolders)
{
    defaults().setBool(false, "Allow Custom Web Dir");
    // A custom root that is no longer allowed falls back to the personal folder.
    for (auto [stored, kept] : {std::pair{1, 1}, std::pair{2, 0}}) {
        pref.reset();
        defaults().setInteger(stored, "Fendrel Protected Folder");
        webDirFolder.selected = 0; // a menu always shows an item
        wake();
        EXPECT_EQ(std::tuple(defaults().integerForKey("Fendrel Protected Folder"), webDirFolder.numberOfItems(),
                             webDirFolder.selected),
                  std::tuple(kept, 2, kept));
    }
}

TEST_F(StartupTest, OptionChecksStoreTheirSettingsAndSortingSortsAtOnce)
{
    root.write(".htusers", "carol:abcdefghijklm\nalice:abcdefghijklm\nbob:abcdefghijklm\n");
    root.write(".htgroups", "web: alice\nadmin: bob\n");
    wake();
    auto set = [&](FakeButton& check, int state) {
        check.stateValue = state;
        pref->writeOption(&check);
    };
    set(userSortCheck, 1);
    EXPECT_TRUE(defaults().boolForKey("Sort Users"));
    EXPECT_EQ(userNames(), (Names{"alice", "bob", "carol"}));
    set(userSortCheck, 0);
    EXPECT_FALSE(defaults().boolForKey("Sort Users"));
    EXPECT_EQ(userNames(), (Names{"alice", "bob", "carol"}));
    set(groupSortCheck, 1);
    EXPECT_EQ(pref->groupArray(), (Names{"admin", "web"}));
    set(accessFileDeleteCheck, 0), set(userDeleteCheck, 0), set(groupDeleteCheck, 0);
    set(manualEditCheck, 1); // other senders are not options
    for (const char* key : {"Show Delete Dialog", "User Delete Dialog", "Group Delete Dialog", "Show Manual Editor"})
        EXPECT_FALSE(defaults().boolForKey(key)) << key;

    launchVersionCheck.stateValue = 0;
    pref->changeCheckAtLaunch(&launchVersionCheck);
    EXPECT_FALSE(defaults().boolForKey("Check for Updates"));
    pref->readOptions();
    EXPECT_EQ(std::tuple(userDeleteCheck.stateValue, launchVersionCheck.stateValue, groupSortCheck.stateValue),
              std::tuple(0, 0, 1));
}

TEST_F(StartupTest, ChoosingACustomFolderRereadsItsFilesAgainstItsOwnUsersAndGroups)
{
    TempDir other;
    other.write(".htusers", "zed:abcdefghijklm\n");
    other.write(".htgroups", "staff: zed\n");
    other.write(".htaccess", "AuthType Basic\nRequire user zed\nRequire group staff\n");
    wake();
    EXPECT_TRUE(userNames().empty());

    pref->setWebDirRoot(KLState(4)); // "Custom…"
    EXPECT_EQ(alerts.chooserStarts, Names{"/"}); // "Custom Web Dir" is never written
    alerts.folderHandler(0, "");
    EXPECT_EQ(webDirFolder.selected, 2);
    EXPECT_EQ(pref->files()->rootPath(), root.path());

    pref->setWebDirRoot(KLState(4));
    alerts.folderHandler(1, other.path());
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 2);
    EXPECT_EQ(defaults().stringForKey("Web Dir"), other.path());
    EXPECT_EQ(webDirFolder.items[2].title, lastPathComponent(other.path()));
    EXPECT_EQ(std::pair(webDirFolder.numberOfItems(), webDirFolder.selected), std::pair(5, 2));
    EXPECT_EQ(pref->files()->rootPath(), other.path());
    EXPECT_EQ(userNames(), Names{"zed"});
    EXPECT_EQ(userTable.tableSource, static_cast<KLTableDataSource*>(pref->users()));

    // The new root's folders are read against its own users and groups, and its next write keeps them.
    showTree();
    KLFSItem* top = pref->files()->rootItem();
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->authDict().at("Require user"), KLPlist(KLPlist::Array{"zed"}));
    EXPECT_EQ(top->authDict().at("Require group"), KLPlist(KLPlist::Array{"staff"}));
    top->writeAccessFile();
    std::string text = readFile(other.file(".htaccess"));
    EXPECT_NE(text.find("\nRequire user zed\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nRequire group staff\n"), std::string::npos) << text;

    // A path that is no folder changes nothing.
    pref->setCustomWebDir(other.file("missing"));
    EXPECT_EQ(webDirFolder.items[2].title, lastPathComponent(other.path()));
    EXPECT_EQ(defaults().stringForKey("Web Dir"), other.path());
}

TEST_F(StartupTest, DisallowingCustomFoldersFallsBackAndTurnsRemoteApacheOff)
{
    wake();
    remoteApacheCheck.stateValue = 1;
    pref->setUsesRemoteApache(KLState(1));
    EXPECT_TRUE(defaults().boolForKey("Uses Remote Apache"));
    EXPECT_EQ(tabs.indexOfItemWithIdentifier("apache"), -1);
    EXPECT_EQ(std::pair(fendrelStatus.value, fendrelStatus.color),
              std::pair(std::string("Apache status not available"), std::string("gray")));

    pref->setCustomWebDirAllowed(KLState(0));
    EXPECT_FALSE(defaults().boolForKey("Allow Custom Web Dir") || defaults().boolForKey("Uses Remote Apache"));
    EXPECT_EQ(std::pair(remoteApacheCheck.stateValue, remoteApacheCheck.enabled), std::pair(0, false));
    EXPECT_EQ(std::pair(webDirFolder.numberOfItems(), webDirFolder.selected), std::pair(2, 1));
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 1);
    EXPECT_EQ(pref->fendrelLocation(4), "/Library/WebServer/Documents/");
}

TEST_F(StartupTest, RemoteServerRemovesTheWebServerTabAndStopsPolling)
{
    KLRunLoop::setMain(std::make_shared<KLPlainRunLoop>());
    defaults().setBool(true, "Override Conf Directory Location"); // no server binary asked
    tabs.ids = {"access", "options", "about"};
    pref = std::make_unique<FendrelPref>();
    pref->initWithBundle(KLBundle::main());
    pref->setApacheFactory([] { return std::make_shared<KLApacheController>(nullptr); });
    pref->setOutlets(o);
    pref->awakeFromNib();
    ASSERT_NE(pref->apache(), nullptr);
    auto state = [&] { return std::pair(tabs.indexOfItemWithIdentifier("apache"), pref->apache()->isEnabled()); };
    EXPECT_EQ(state(), std::pair(2, true));
    pref->setUsesRemoteApache(KLState(1));
    EXPECT_EQ(state(), std::pair(-1, false));
    EXPECT_EQ(fendrelStatus.value, "Apache status not available");
    pref->setUsesRemoteApache(KLState(0));
    EXPECT_EQ(state(), std::pair(2, true));
    pref->didUnselect();
    EXPECT_FALSE(pref->apache()->isEnabled());
    pref->didSelect();
    EXPECT_TRUE(pref->apache()->isEnabled());
}

TEST_F(StartupTest, ManualEditorTabFollowsItsCheck)
{
    wake();
    EXPECT_EQ(userAddressTabs.indexOfItemWithIdentifier("custom"), -1);
    pref->setManualEditVisible(KLState(1));
    EXPECT_EQ(userAddressTabs.indexOfItemWithIdentifier("custom"), 2);
    EXPECT_TRUE(defaults().boolForKey("Show Manual Editor"));
    pref->setManualEditVisible(KLState(1));
    EXPECT_EQ(userAddressTabs.numberOfItems(), 3);
    pref->setManualEditVisible(KLState(0));
    EXPECT_EQ(std::pair(userAddressTabs.indexOfItemWithIdentifier("custom"), manualEditCheck.stateValue), std::pair(-1, 0));
}

// Groups read against users that could not be read have lost their members
// on the way in; writing them back would empty every group.
TEST_F(StartupTest, AnUnreadableUsersFileLeavesBothFilesAsTheyAre)
{
    const std::string users = "\xEF\xBB\xBF" "alice:abcdefghijklm\n\xFF";
    root.write(".htusers", users);
    root.write(".htgroups", "staff: alice \n");
    wake();
    EXPECT_TRUE(userNames().empty());
    pref->didUnselect();
    EXPECT_EQ(readFile(root.file(".htusers")), users);
    EXPECT_EQ(readFile(root.file(".htgroups")), "staff: alice \n");
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, root.file(".htusers") + " was not changed: it is not a text file.");
}

TEST_F(StartupTest, LeavingThePaneWritesBothFilesAndHidesHelp)
{
    wake();
    pref->help(nullptr);
    EXPECT_TRUE(helpWindow.visible);
    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Now);
    pref->didUnselect();
    EXPECT_FALSE(helpWindow.visible);
    EXPECT_TRUE(fileExists(root.file(".htusers")) && fileExists(root.file(".htgroups")));
    pref->loadWebsite(nullptr);
    pref->donate(nullptr);
    ASSERT_EQ(workspace.urls.size(), 2u);
    EXPECT_NE(workspace.urls[0], workspace.urls[1]);
    pref->revealWebDir(nullptr);
    EXPECT_EQ(workspace.revealed, Names{root.path()});
}

} // namespace
