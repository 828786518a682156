#include "FileSizeLimit.h"
#include "PaneFixture.h"

#include <crypt.h>

namespace {

class UsersTest : public PaneTest {
protected:
    // Fills the sheet and presses OK.
    std::string submit(const std::string& name, const std::string& password, const std::string& confirm) {
        userField.value = name;
        passField.value = password;
        confirmField.value = confirm;
        pref->endNewUser(nullptr);
        return errorField.value;
    }
    std::string hashOf(const std::string& name) const {
        for (const KLPlist& record : pref->users()->dataArray())
            if (record["user"].description() == name)
                return record["basic password"].description();
        return {};
    }
    static bool verifies(const std::string& hash, const std::string& password) {
        crypt_data data{};
        const char* result = crypt_r(password.c_str(), hash.c_str(), &data);
        return result && hash == result;
    }
    int rowOf(const std::string& name) const {
        std::vector<std::string> names = userNames();
        auto it = std::find(names.begin(), names.end(), name);
        return it == names.end() ? -1 : static_cast<int>(it - names.begin()) + 1;
    }
};

TEST_F(UsersTest, SheetChecksInOrderAndStaysOpen) {
    root.write(".htusers", "alice:abcdefghijklm\n");
    wake();
    pref->addUser(nullptr);
    EXPECT_TRUE(userField.enabled);
    EXPECT_EQ(userAddPanel.firstResponder, "userField");
    ASSERT_EQ(window.sheets, std::vector<KLWindow*>{&userAddPanel});

    EXPECT_EQ(submit("", "", ""), "Please choose a unique username");
    EXPECT_EQ(submit("ALICE", "", ""), "Please choose a unique username");
    EXPECT_EQ(submit("any valid user", "pw", "pw"), "Please choose a unique username");
    EXPECT_EQ(submit("al ice", "", ""), "Usernames cannot contain spaces, tabs, or line returns");
    EXPECT_EQ(submit("al\tice", "pw", "pw"), "Usernames cannot contain spaces, tabs, or line returns");
    EXPECT_EQ(submit("bob", "", ""), "You must supply a password");
    EXPECT_EQ(submit("bob", "pw", "wp"), "Passwords do not match");
    for (const char* spaced : {"al\vice", "al\u00a0ice", "al\u2028ice", "al\u3000ice"})
        EXPECT_EQ(submit(spaced, "pw", "pw"), "Usernames cannot contain spaces, tabs, or line returns") << spaced;
    EXPECT_EQ(submit("fendreled", "", ""), "You must supply a password");
    EXPECT_EQ(submit("fendreled", "pw", "wp"), "Passwords do not match");
    EXPECT_EQ(submit("FendreLED", "pw", "pw"), "Invalid username. Please choose another");
    // Names the users file cannot hold: not ASCII, the field separator, control characters.
    for (const char* unstorable : {"j\u00fcrgen", "al:ice", "al\x01ice"})
        EXPECT_EQ(submit(unstorable, "pw", "pw"), "Invalid username. Please choose another") << unstorable;
    EXPECT_EQ(userNames(), std::vector<std::string>{"alice"});
    EXPECT_EQ(window.sheets.size(), 1u);
    EXPECT_EQ(readFile(root.file(".htusers")), "alice:abcdefghijklm\n");

    EXPECT_EQ(submit("  bob \n", "secret", "secret"), "");
    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_TRUE(verifies(hashOf("bob"), "secret"));
    EXPECT_NE(readFile(root.file(".htusers")).find("bob:" + hashOf("bob") + "\n"), std::string::npos);
    EXPECT_TRUE(window.sheets.empty());
    EXPECT_FALSE(userAddPanel.visible);
}

TEST_F(UsersTest, UnwritableUsersFileIsReportedAndWrittenWhenLeaving) {
    root.write(".htusers", "alice:abcdefghijklm\n");
    wake();
    pref->addUser(nullptr);
    {
        FileSizeLimit limit(16);
        EXPECT_EQ(submit("bob", "pw", "pw"), "");
    }
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, root.file(".htusers") + " was not changed: File too large.");
    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_EQ(readFile(root.file(".htusers")), "alice:abcdefghijklm\n");

    pref->didUnselect();
    EXPECT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(readFile(root.file(".htusers")), "alice:abcdefghijklm\nbob:" + hashOf("bob") + "\n");
}

TEST_F(UsersTest, TheChosenHashIsMadeAndDESWarnsOfTheIgnoredPart) {
    const std::string warning = "Only the first 8 characters of this password count with DES hashes. Choose bcrypt "
                                "in Options to use all of it.";
    root.write(".htusers", "alice:abcdefghijklm\n");
    passwordHashMenu.addItem("DES");
    passwordHashMenu.addItem("bcrypt");
    wake();
    EXPECT_EQ(passwordHashMenu.selected, 0);
    pref->addUser(nullptr);
    passField.value = "correct horse";
    pref->passwordDidChange(nullptr);
    EXPECT_EQ(passwordWarningField.value, warning);
    EXPECT_EQ(submit("bob", "correct horse", "correct horse"), ""); // saved all the same
    EXPECT_TRUE(verifies(hashOf("bob"), "correct "));

    passwordHashMenu.selected = 1;
    pref->setPasswordHash(&passwordHashMenu);
    EXPECT_EQ(defaults().stringForKey("Password Hash"), "bcrypt");
    showUsers();
    userTable.selectRow(rowOf("bob"), false);
    pref->editUser(nullptr);
    EXPECT_EQ(passwordWarningField.value, "");
    passField.value = "correct horse";
    pref->passwordDidChange(nullptr);
    EXPECT_EQ(passwordWarningField.value, "");
    EXPECT_EQ(submit("bob", "correct horse", "correct horse"), "");
    EXPECT_TRUE(verifies(hashOf("bob"), "correct horse"));
    EXPECT_EQ(pref->users()->objectAtRow(rowOf("bob"), "hash"), KLPlist("bcrypt"));
    EXPECT_EQ(pref->users()->objectAtRow(rowOf("alice"), "hash"), KLPlist("DES"));

    // A library that makes no hash: nothing is stored and the sheet stays open.
    std::string file = readFile(root.file(".htusers"));
    KLPasswordHash::Library broken = KLPasswordHash::systemLibrary();
    broken.crypt = [](const char*, const char*, crypt_data*) -> char* { return nullptr; };
    pref->users()->setPasswordHash(KLPasswordHash(broken));
    pref->addUser(nullptr);
    EXPECT_EQ(submit("carol", "pw", "pw"), "");
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_NE(alerts.shown[0].message.find(pref->errors()[FendrelPref::kPasswordNotHashed]), std::string::npos);
    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_EQ(readFile(root.file(".htusers")), file);
    EXPECT_EQ(window.sheets.size(), 1u);
}

TEST_F(UsersTest, PasswordChangeWithSortUsersKeepsOneRecordAndTheOrder) {
    root.write(".htusers", "bob:abcdefghijklm\ncarol:abcdefghijklm\nalice:abcdefghijklm\n");
    root.write(".htgroups", "staff: alice bob\n");
    defaults().setBool(true, "Sort Users");
    wake(); // read as stored, not yet sorted

    userTable.selectRow(rowOf("alice"), false);
    pref->editUser(nullptr);
    EXPECT_FALSE(userField.enabled);
    EXPECT_EQ(userField.value, "alice");
    EXPECT_EQ(errorField.value, "Please enter a new password for alice");
    EXPECT_EQ(userAddPanel.firstResponder, "passField");
    EXPECT_EQ(submit("alice", "new-pw", "new-pw"), "");

    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob", "carol"}));
    EXPECT_TRUE(verifies(hashOf("alice"), "new-pw"));
    EXPECT_EQ(hashOf("bob"), "abcdefghijklm");
    EXPECT_EQ(pref->groups()->list(), std::vector<std::string>{"staff"});
    EXPECT_EQ(readFile(root.file(".htgroups")), "staff: alice bob\n"); // memberships stay

    // Sorted already: the same edit again leaves the others where they are.
    showUsers();
    userTable.selectRow(rowOf("bob"), false);
    pref->editUser(nullptr);
    EXPECT_EQ(submit("bob", "pw2", "pw2"), "");
    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob", "carol"}));
    EXPECT_TRUE(verifies(hashOf("bob"), "pw2"));
    EXPECT_TRUE(verifies(hashOf("alice"), "new-pw"));
}

TEST_F(UsersTest, AnyValidUserRowCannotBeEditedOrDeleted) {
    root.write(".htusers", "alice:abcdefghijklm\n");
    wake();
    userTable.selectRow(0, false);
    pref->userClick(&userTable);
    EXPECT_FALSE(userEditButton.enabled);
    EXPECT_FALSE(userDeleteButton.enabled);
    pref->editUser(nullptr);
    EXPECT_TRUE(window.sheets.empty());

    userTable.selectRow(1, false);
    pref->userClick(&userTable);
    EXPECT_TRUE(userEditButton.enabled);
    EXPECT_TRUE(userDeleteButton.enabled);
}

TEST_F(UsersTest, DontAskDeletesAndTurnsTheDialogOff) {
    root.write(".htusers", "alice:abcdefghijklm\nbob:abcdefghijklm\ncarol:abcdefghijklm\n");
    root.write(".htgroups", "staff: alice bob\n");
    wake();

    userTable.selectRow(1, false);
    pref->deleteRow(&userTable, 1);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].title, "Delete User");
    EXPECT_EQ(alerts.shown[0].message,
              "Are you sure you wish to delete the user \"alice\"? This action cannot be undone. To answer yes and "
              "not see this dialog in the future, click \"Don't Ask\"");
    EXPECT_EQ(alerts.shown[0].alternateButton, "Don't Ask");
    alerts.answer(-1);
    EXPECT_EQ(userNames().size(), 3u);

    pref->deleteUser(nullptr);
    alerts.answer(0);
    EXPECT_FALSE(defaults().boolForKey("User Delete Dialog"));
    EXPECT_EQ(userNames(), (std::vector<std::string>{"bob", "carol"}));
    EXPECT_EQ(readFile(root.file(".htgroups")), "staff: bob \n"); // the groups lose her

    showUsers();
    userTable.selectRow(2, false);
    pref->deleteUser(nullptr);
    EXPECT_EQ(alerts.shown.size(), 2u);
    EXPECT_EQ(userNames(), std::vector<std::string>{"bob"});
    EXPECT_EQ(readFile(root.file(".htusers")), "bob:abcdefghijklm\n");
}

TEST_F(UsersTest, NewGroupTakesTheFirstFreeNumberAndIsEdited) {
    root.write(".htgroups", "Group 1:\nGroup 3:\n");
    wake();
    pref->addGroup(nullptr);
    EXPECT_EQ(pref->groups()->list(), (std::vector<std::string>{"Group 1", "Group 3", "Group 2"}));
    showGroups();
    ASSERT_EQ(groupOutline.edits.size(), 1u);
    EXPECT_EQ(groupOutline.edits[0].first, "group");
    EXPECT_EQ(groupOutline.selection, std::vector<int>{groupOutline.edits[0].second});
}

TEST_F(UsersTest, GroupButtonAndDeleteTextsNameTheNode) {
    root.write(".htusers", "alice:abcdefghijklm\n");
    root.write(".htgroups", "staff: alice\nweb:\n");
    wake();
    groupOutline.selectRow(1, false); // alice in staff
    pref->groupClick(&groupOutline);
    EXPECT_TRUE(groupDeleteButton.enabled);
    EXPECT_EQ(groupDeleteButton.tip, "Remove \"alice\" from \"staff\"");
    pref->deleteRow(&groupOutline, 1);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].title, "Delete Group");
    EXPECT_EQ(alerts.shown[0].message,
              "Are you sure you wish to remove the user \"alice\" from the group \"staff\"? This action cannot be "
              "undone. To answer yes and not see this dialog in the future, click \"Don't Ask\"");
    alerts.answer(1);
    EXPECT_EQ(readFile(root.file(".htgroups")), "staff: \nweb: \n");
    EXPECT_TRUE(defaults().boolForKey("Group Delete Dialog"));

    showGroups();
    groupOutline.selectRow(1, false); // web
    pref->groupClick(&groupOutline);
    EXPECT_EQ(groupDeleteButton.tip, "Delete \"web\"");
    pref->deleteGroup(nullptr);
    EXPECT_EQ(alerts.shown[1].message,
              "Are you sure you wish to delete the group \"web\"? This action cannot be undone. To answer yes and "
              "not see this dialog in the future, click \"Don't Ask\"");
    alerts.answer(0);
    EXPECT_FALSE(defaults().boolForKey("Group Delete Dialog"));
    EXPECT_EQ(pref->groups()->list(), std::vector<std::string>{"staff"});

    groupOutline.deselectAll();
    pref->groupClick(&groupOutline);
    EXPECT_FALSE(groupDeleteButton.enabled);
    EXPECT_EQ(groupDeleteButton.tip, "");
}

} // namespace
