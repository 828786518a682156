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
    ASSERT_EQ(webDirFolder.numberOfItems(), 5);
    EXPECT_EQ(std::tuple(webDirFolder.items[2].title, webDirFolder.items[3].separator, webDirFolder.items[4].title,
                         webDirFolder.selected),
              std::tuple(lastPathComponent(root.path()), true, "Custom\u2026", 2));

    EXPECT_EQ(userNames(), (Names{"bob", "alice"}));
    EXPECT_EQ(pref->groupArray(), Names{"staff"});
    EXPECT_EQ(std::tuple(userTable.tableSource, groupOutline.outlineSource, webDirOutline.outlineSource),
              std::tuple(static_cast<KLTableDataSource*>(pref->users()), static_cast<KLOutlineDataSource*>(pref->groups()),
                         static_cast<KLOutlineDataSource*>(pref->files())));
    EXPECT_EQ(pref->files()->rootPath(), root.path());
    // The stored list starts the addresses; folders found later add theirs.
    EXPECT_EQ(pref->addresses(), (KLPlist::Array{"127.0.0.1", "10.1.2.3"}));
    EXPECT_EQ(addressTable.tableSource, static_cast<KLTableDataSource*>(pref->addressSource()));

    EXPECT_EQ(std::tuple(userEditButton.enabled, userDeleteButton.enabled, groupDeleteButton.enabled,
                         customSaveButton.enabled, pref->selectedItem()),
              std::tuple(false, false, false, false, nullptr));
}

TEST_F(StartupTest, StoredRootPicksTheMenuItemAndTheFolder)
{
    const std::string sites = std::string(std::getenv("HOME")) + "/Sites", docs = "/Library/WebServer/Documents/";
    const struct {
        bool custom;
        int stored, kept, items, selected;
        std::string location, rootPath;
    } cases[] = {
        {true, 5, 5, 5, 4, sites, sites}, // the last item, yet the personal folder
        {false, 1, 1, 2, 1, docs, ""},
        {false, 2, 0, 2, 0, sites, sites}, // a custom root no longer allowed falls back
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored);
        pref.reset();
        defaults().setBool(c.custom, "Allow Custom Web Dir");
        defaults().setInteger(c.stored, "Fendrel Protected Folder");
        webDirFolder.selected = 0; // a menu always shows an item
        wake();
        EXPECT_EQ(std::tuple(defaults().integerForKey("Fendrel Protected Folder"), webDirFolder.numberOfItems(),
                             webDirFolder.selected, pref->fendrelLocation(4)),
                  std::tuple(c.kept, c.items, c.selected, c.location));
        EXPECT_TRUE(c.rootPath.empty() || pref->files()->rootPath() == c.rootPath) << pref->files()->rootPath();
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

    // The manual editor's tab follows its check, once at most.
    pref->setManualEditVisible(KLState(1));
    pref->setManualEditVisible(KLState(1));
    EXPECT_EQ(std::pair(userAddressTabs.indexOfItemWithIdentifier("custom"), userAddressTabs.numberOfItems()), std::pair(2, 3));
    EXPECT_TRUE(defaults().boolForKey("Show Manual Editor"));
    pref->setManualEditVisible(KLState(0));
    EXPECT_EQ(std::pair(userAddressTabs.indexOfItemWithIdentifier("custom"), manualEditCheck.stateValue), std::pair(-1, 0));
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
    alerts.folderHandler(1, other.path());
    auto chosen = [&] {
        return std::tuple(defaults().integerForKey("Fendrel Protected Folder"), defaults().stringForKey("Web Dir"),
                          webDirFolder.items[2].title, webDirFolder.numberOfItems(), webDirFolder.selected);
    };
    EXPECT_EQ(chosen(), std::tuple(2, other.path(), lastPathComponent(other.path()), 5, 2));
    EXPECT_EQ(std::pair(pref->files()->rootPath(), userNames()), std::pair(other.path(), Names{"zed"}));
    EXPECT_EQ(userTable.tableSource, static_cast<KLTableDataSource*>(pref->users()));

    // The new root's folders are read against its own users and groups, and its next write keeps them.
    showTree();
    KLFSItem* top = pref->files()->rootItem();
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(std::pair(top->authDict().at("Require user"), top->authDict().at("Require group")),
              std::pair(KLPlist(KLPlist::Array{"zed"}), KLPlist(KLPlist::Array{"staff"})));
    top->writeAccessFile();
    EXPECT_THAT(readFile(other.file(".htaccess")),
                testing::AllOf(testing::HasSubstr("\nRequire user zed\n"), testing::HasSubstr("\nRequire group staff\n")));

    // A path that is no folder changes nothing.
    pref->setCustomWebDir(other.file("missing"));
    EXPECT_EQ(chosen(), std::tuple(2, other.path(), lastPathComponent(other.path()), 5, 2));
}

TEST_F(StartupTest, DisallowingCustomFoldersFallsBackAndTurnsRemoteApacheOff)
{
    wake();
    pref->didUnselect(); // leaving writes both files
    EXPECT_TRUE(fileExists(root.file(".htusers")) && fileExists(root.file(".htgroups")));
    remoteApacheCheck.stateValue = 1;
    pref->setUsesRemoteApache(KLState(1));
    EXPECT_EQ(std::tuple(defaults().boolForKey("Uses Remote Apache"), fendrelStatus.value, fendrelStatus.color),
              std::tuple(true, "Apache status not available", "gray"));

    pref->setCustomWebDirAllowed(KLState(0));
    EXPECT_FALSE(defaults().boolForKey("Allow Custom Web Dir") || defaults().boolForKey("Uses Remote Apache"));
    EXPECT_EQ(std::pair(remoteApacheCheck.stateValue, remoteApacheCheck.enabled), std::pair(0, false));
    EXPECT_EQ(std::tuple(webDirFolder.numberOfItems(), webDirFolder.selected, defaults().integerForKey("Fendrel Protected Folder")),
              std::tuple(2, 1, 1));
}

// Groups read against unreadable users lost their members; writing them back would empty every group.
TEST_F(StartupTest, AnUnreadableUsersFileLeavesBothFilesAsTheyAre)
{
    const std::string users = "\xEF\xBB\xBF" "alice:abcdefghijklm\n\xFF";
    root.write(".htusers", users);
    root.write(".htgroups", "staff: alice \n");
    wake();
    EXPECT_TRUE(userNames().empty());
    pref->didUnselect();
    EXPECT_EQ(std::pair(readFile(root.file(".htusers")), readFile(root.file(".htgroups"))), std::pair(users, std::string("staff: alice \n")));
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, root.file(".htusers") + " was not changed: it is not a text file.");
}

} // namespace
