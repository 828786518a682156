#include "FileSizeLimit.h"
#include "PaneFixture.h"

#include <crypt.h>

namespace {

const std::string kDontAsk = "This action cannot be undone. To answer yes and not see this dialog in the future, "
                             "click \"Don't Ask\"";

class UsersTest : public PaneTest {
protected:
    std::string submit(const std::string& name, const std::string& password, const std::string& confirm)
    {
        userField.value = name, passField.value = password, confirmField.value = confirm;
        pref->endNewUser(nullptr);
        return errorField.value;
    }
    std::string hashOf(const std::string& name) const
    {
        for (const KLUserRecord& record : pref->users()->records())
            if (record.name == name)
                return record.hash;
        return {};
    }
    bool verifies(const std::string& name, const std::string& password) const
    {
        crypt_data data{};
        const std::string hash = hashOf(name);
        const char* result = crypt_r(password.c_str(), hash.c_str(), &data);
        return result && hash == result;
    }
    void editUser(int row)
    {
        showUsers();
        userTable.selectRow(row, false);
        pref->editUser(nullptr);
    }
    std::string users() const { return readFile(root.file(".htusers")); }
    std::string groups() const { return readFile(root.file(".htgroups")); }
};

TEST_F(UsersTest, SheetChecksInOrderAndStaysOpen)
{
    root.write(".htusers", "alice:abcdefghijklm\n");
    wake();
    pref->addUser(nullptr);
    EXPECT_TRUE(userField.enabled);
    EXPECT_EQ(userAddPanel.firstResponder, "userField");
    ASSERT_EQ(window.sheets, std::vector<KLWindow*>{&userAddPanel});
    const std::string unique = "Please choose a unique username", spaces =
        "Usernames cannot contain spaces, tabs, or line returns", invalid = "Invalid username. Please choose another";
    // Names the users file cannot hold are invalid: not ASCII, the field separator, control characters.
    const std::vector<std::string> cases[] = {
        {"", "", "", unique}, {"ALICE", "", "", unique}, {"any valid user", "pw", "pw", unique},
        {"al ice", "", "", spaces}, {"al\tice", "pw", "pw", spaces}, {"al\vice", "pw", "pw", spaces},
        {"al\u00a0ice", "pw", "pw", spaces}, {"al\u2028ice", "pw", "pw", spaces}, {"al\u3000ice", "pw", "pw", spaces},
        {"bob", "", "", "You must supply a password"}, {"bob", "pw", "wp", "Passwords do not match"},
        {"fendreled", "", "", "You must supply a password"}, {"fendreled", "pw", "wp", "Passwords do not match"},
        {"FendreLED", "pw", "pw", invalid}, {"j\u00fcrgen", "pw", "pw", invalid}, {"al:ice", "pw", "pw", invalid},
        {"al\x01ice", "pw", "pw", invalid},
    };
    for (const auto& c : cases)
        EXPECT_EQ(submit(c[0], c[1], c[2]), c[3]) << c[0];
    EXPECT_EQ(std::tuple(userNames(), window.sheets.size(), users()),
              std::tuple(std::vector<std::string>{"alice"}, 1u, "alice:abcdefghijklm\n"));

    EXPECT_EQ(submit("  bob \n", "secret", "secret"), "");
    EXPECT_EQ(userNames(), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_TRUE(verifies("bob", "secret"));
    const std::string written = "alice:abcdefghijklm\nbob:" + hashOf("bob") + "\n";
    EXPECT_EQ(users(), written);

    // A users file that cannot be written is reported, and written when leaving.
    pref->addUser(nullptr);
    {
        FileSizeLimit limit(written.size());
        EXPECT_EQ(submit("carol", "pw", "pw"), "");
    }
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].message, root.file(".htusers") + " was not changed: File too large.");
    EXPECT_EQ(std::pair(userNames().size(), users()), std::pair(std::size_t{3}, written));
    pref->didUnselect();
    EXPECT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(users(), written + "carol:" + hashOf("carol") + "\n");
}

TEST_F(UsersTest, TheChosenHashIsMadeAndDESWarnsOfTheIgnoredPart)
{
    root.write(".htusers", "alice:abcdefghijklm\n");
    passwordHashMenu.addItem("DES");
    passwordHashMenu.addItem("bcrypt");
    wake();
    pref->addUser(nullptr);
    EXPECT_EQ(submit("bob", "correct horse", "correct horse"), "");
    EXPECT_TRUE(verifies("bob", "correct ")); // DES reads eight characters

    passwordHashMenu.selected = 1;
    pref->setPasswordHash(&passwordHashMenu);
    editUser(2);
    passField.value = "correct horse";
    pref->passwordDidChange(nullptr);
    EXPECT_EQ(passwordWarningField.value, "");
    EXPECT_EQ(submit("bob", "correct horse", "correct horse"), "");
    EXPECT_TRUE(verifies("bob", "correct horse") && !verifies("bob", "correct "));
    EXPECT_EQ(std::pair(pref->users()->objectAtRow(2, "hash"), pref->users()->objectAtRow(1, "hash")),
              std::pair(KLPlist("bcrypt"), KLPlist("DES")));

    // A library that makes no hash: nothing is stored and the sheet stays open.
    std::string file = users();
    KLPasswordHash::Library broken = KLPasswordHash::systemLibrary();
    broken.crypt = [](const char*, const char*, crypt_data*) -> char* { return nullptr; };
    pref->users()->setPasswordHash(KLPasswordHash(broken));
    pref->addUser(nullptr);
    EXPECT_EQ(submit("carol", "pw", "pw"), "");
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_NE(alerts.shown[0].message.find(pref->errors()[FendrelPref::kPasswordNotHashed]), std::string::npos);
    EXPECT_EQ(std::tuple(userNames().size(), users(), window.sheets.size()), std::tuple(2u, file, 1u));
}

TEST_F(UsersTest, DontAskDeletesAndTurnsTheDialogOff)
{
    root.write(".htusers", "alice:abcdefghijklm\nbob:abcdefghijklm\ncarol:abcdefghijklm\n");
    root.write(".htgroups", "staff: alice bob\n");
    wake();
    userTable.selectRow(1, false);
    pref->deleteRow(&userTable, 1);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(std::tuple(alerts.shown[0].title, alerts.shown[0].message, alerts.shown[0].alternateButton),
              std::tuple("Delete User", "Are you sure you wish to delete the user \"alice\"? " + kDontAsk, "Don't Ask"));
    alerts.answer(0);
    EXPECT_FALSE(defaults().boolForKey("User Delete Dialog"));
    EXPECT_EQ(userNames(), (std::vector<std::string>{"bob", "carol"}));
    EXPECT_EQ(groups(), "staff: bob \n"); // the groups lose her

    showUsers();
    userTable.selectRow(2, false);
    pref->deleteUser(nullptr);
    EXPECT_EQ(alerts.shown.size(), 1u); // the dialog is off
    EXPECT_EQ(users(), "bob:abcdefghijklm\n");
}

TEST_F(UsersTest, GroupButtonAndDeleteTextsNameTheNode)
{
    root.write(".htusers", "alice:abcdefghijklm\n");
    root.write(".htgroups", "staff: alice\nweb:\n");
    wake();
    groupOutline.selectRow(1, false); // alice in staff
    pref->groupClick(&groupOutline);
    EXPECT_EQ(std::pair(groupDeleteButton.enabled, groupDeleteButton.tip),
              std::pair(true, std::string("Remove \"alice\" from \"staff\"")));
    pref->deleteRow(&groupOutline, 1);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(std::pair(alerts.shown[0].title, alerts.shown[0].message),
              std::pair(std::string("Delete Group"),
                        "Are you sure you wish to remove the user \"alice\" from the group \"staff\"? " + kDontAsk));
    alerts.answer(1);
    EXPECT_EQ(groups(), "staff: \nweb: \n");
    EXPECT_TRUE(defaults().boolForKey("Group Delete Dialog"));

    showGroups();
    groupOutline.selectRow(1, false); // web
    pref->groupClick(&groupOutline);
    EXPECT_EQ(groupDeleteButton.tip, "Delete \"web\"");
    pref->deleteGroup(nullptr);
    EXPECT_EQ(alerts.shown[1].message, "Are you sure you wish to delete the group \"web\"? " + kDontAsk);
    alerts.answer(0);
    EXPECT_FALSE(defaults().boolForKey("Group Delete Dialog"));
    EXPECT_EQ(pref->groups()->list(), std::vector<std::string>{"staff"});
}

} // namespace
