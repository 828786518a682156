// Every protection pattern the access file writer produces, written through
// KLFSItem and judged by a real Apache answering on 127.0.0.1.

#include "ApacheSandbox.h"
#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "TempDir.h"

#include <crypt.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

constexpr const char* kLoopback = "127.0.0.1";
constexpr const char* kOtherAddress = "10.9.9.9";

std::string desHash(const std::string& password, const char* salt)
{
    crypt_data data{};
    const char* hash = ::crypt_r(password.c_str(), salt, &data);
    return hash ? hash : "";
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

class AccessProtectionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        docs = apache.documentRoot();
        pane.root = docs;
        pane.userNames = std::vector<std::string>{"alice", "bob", "carol"};
        pane.groupNames = std::vector<std::string>{"staff"};
        pane.addressList = {KLPlist(kLoopback), KLPlist(kOtherAddress)};
        pane.discover = false;

        std::string users;
        for (auto [name, salt] : {std::pair{"alice", "al"}, {"bob", "bo"}, {"carol", "ca"}}) {
            std::string hash = desHash(std::string(name) + "-pw", salt);
            ASSERT_EQ(hash.size(), 13u) << "no DES crypt";
            users += std::string(name) + ":" + hash + "\n";
        }
        writeText(docs + "/.htusers", users);
        // Made by hand until the groups file has its own writer.
        writeText(docs + "/.htgroups", "staff: carol\n");
        ASSERT_TRUE(apache.start()) << apache.error();
    }

    // A folder with an index page and its item.
    std::shared_ptr<KLFSItem> folder(const std::string& name)
    {
        std::filesystem::create_directories(docs + "/" + name);
        writeText(docs + "/" + name + "/index.html", "<p>" + name + "</p>\n");
        return KLFSItem::create(docs + "/" + name);
    }

    static void setList(KLFSItem& item, const char* key, const std::vector<std::string>& values)
    {
        item.authDict()[key] = KLPlist::stringArray(values);
    }

    int get(const std::string& name, const std::optional<std::string>& user = std::nullopt)
    {
        return apache.status("/" + name + "/", user, user ? std::optional(*user + "-pw") : std::nullopt);
    }

    int getWithPassword(const std::string& name, const std::string& user, const std::string& password)
    {
        return apache.status("/" + name + "/", user, password);
    }

    ApacheSandbox apache;
    FakePaneContext pane;
    std::string docs;
};

TEST_F(AccessProtectionTest, PasswordForListedUsersOnly)
{
    auto item = folder("users");
    setList(*item, KLFSItem::kRequireUser, {"alice", "bob"});
    item->setAuthStatus(KLFSItem::kPasswordBit, false);
    ASSERT_TRUE(item->isPasswordProtected()) << item->stringValue();

    EXPECT_EQ(get("users"), 401);
    EXPECT_EQ(get("users", "alice"), 200);
    EXPECT_EQ(get("users", "bob"), 200);
    EXPECT_EQ(getWithPassword("users", "alice", "bob-pw"), 401);
    EXPECT_EQ(get("users", "carol"), 401) << "a user of the file who is not listed";
    EXPECT_EQ(get("users", "mallory"), 401);
}

TEST_F(AccessProtectionTest, PasswordForAnyValidUser)
{
    auto item = folder("anyone");
    setList(*item, KLFSItem::kRequireUser, {KLFSItem::kValidUser});
    item->setAuthStatus(KLFSItem::kPasswordBit, false);

    EXPECT_EQ(get("anyone"), 401);
    EXPECT_EQ(get("anyone", "carol"), 200);
    EXPECT_EQ(getWithPassword("anyone", "carol", "wrong"), 401);
    EXPECT_EQ(get("anyone", "mallory"), 401);
}

TEST_F(AccessProtectionTest, PasswordForGroupMembersOnly)
{
    auto item = folder("staff");
    setList(*item, KLFSItem::kRequireGroup, {"staff"});
    item->setAuthStatus(KLFSItem::kPasswordBit, false);
    ASSERT_NE(item->stringValue().find("\n#Require user \n"), std::string::npos);

    EXPECT_EQ(get("staff"), 401);
    EXPECT_EQ(get("staff", "carol"), 200);
    EXPECT_EQ(get("staff", "alice"), 401);
}

TEST_F(AccessProtectionTest, PasswordWithNobodyChosenLetsNobodyIn)
{
    auto item = folder("nobody");
    item->setAuthStatus(KLFSItem::kPasswordBit, false);
    ASSERT_NE(item->stringValue().find("\nRequire user fendreled\n"), std::string::npos);
    ASSERT_TRUE(item->isPasswordProtected());

    EXPECT_EQ(get("nobody"), 401);
    for (const char* user : {"alice", "bob", "carol"})
        EXPECT_EQ(get("nobody", user), 401) << user;
}

TEST_F(AccessProtectionTest, AddressDenyAndAllowListsSeenFromLoopback)
{
    auto denied = folder("denied");
    denied->setAllow(false);
    setList(*denied, KLFSItem::kDenyFrom, {kLoopback});
    denied->setAuthStatus(KLFSItem::kAddressBit, false);

    auto othersDenied = folder("others-denied");
    othersDenied->setAllow(false);
    setList(*othersDenied, KLFSItem::kDenyFrom, {kOtherAddress});
    othersDenied->setAuthStatus(KLFSItem::kAddressBit, false);

    auto allowed = folder("allowed");
    setList(*allowed, KLFSItem::kAllowFrom, {kLoopback});
    allowed->setAuthStatus(KLFSItem::kAddressBit, false);

    auto othersAllowed = folder("others-allowed");
    setList(*othersAllowed, KLFSItem::kAllowFrom, {kOtherAddress});
    othersAllowed->setAuthStatus(KLFSItem::kAddressBit, false);

    EXPECT_EQ(get("denied"), 403);
    EXPECT_EQ(get("others-denied"), 200);
    EXPECT_EQ(get("allowed"), 200);
    EXPECT_EQ(get("others-allowed"), 403);
}

TEST_F(AccessProtectionTest, AddressPlaceholdersAndForgottenAddresses)
{
    auto emptyAllow = folder("empty-allow");
    emptyAllow->setAuthStatus(KLFSItem::kAddressBit, false);
    ASSERT_NE(emptyAllow->stringValue().find("\nAllow from fendreled\n"), std::string::npos);

    auto emptyDeny = folder("empty-deny");
    emptyDeny->setAllow(false);
    emptyDeny->setAuthStatus(KLFSItem::kAddressBit, false);
    ASSERT_NE(emptyDeny->stringValue().find("\nDeny from fendreled\n"), std::string::npos);

    // 127.0.0.1 is listed in the item but no longer known to the pane: the
    // file must not keep denying it.
    auto forgotten = folder("forgotten");
    forgotten->setAllow(false);
    setList(*forgotten, KLFSItem::kDenyFrom, {kLoopback});
    pane.addressList = {KLPlist(kOtherAddress)};
    forgotten->setAuthStatus(KLFSItem::kAddressBit, false);

    EXPECT_EQ(get("empty-allow"), 403);
    EXPECT_EQ(get("empty-deny"), 200);
    EXPECT_EQ(get("forgotten"), 200);
}

TEST_F(AccessProtectionTest, BothKindsWithAnyOrAll)
{
    // Password, or an address that is not ours: a login is needed.
    auto anyOther = folder("any-other");
    setList(*anyOther, KLFSItem::kRequireUser, {"alice"});
    setList(*anyOther, KLFSItem::kAllowFrom, {kOtherAddress});
    anyOther->setAuthStatus(KLFSItem::kPasswordBit | KLFSItem::kAddressBit, false);
    ASSERT_EQ(anyOther->authStatus(), 3);

    // Password, or our address: no login needed.
    auto anyOurs = folder("any-ours");
    setList(*anyOurs, KLFSItem::kRequireUser, {"alice"});
    setList(*anyOurs, KLFSItem::kAllowFrom, {kLoopback});
    anyOurs->setAuthStatus(3, false);

    // Password and our address.
    auto allOurs = folder("all-ours");
    setList(*allOurs, KLFSItem::kRequireUser, {"alice"});
    setList(*allOurs, KLFSItem::kAllowFrom, {kLoopback});
    allOurs->setAuthStatus(7, false);
    ASSERT_TRUE(allOurs->requiresAll());

    // Password and an address list that keeps us out.
    auto allDenied = folder("all-denied");
    setList(*allDenied, KLFSItem::kRequireUser, {"alice"});
    allDenied->setAllow(false);
    setList(*allDenied, KLFSItem::kDenyFrom, {kLoopback});
    allDenied->setAuthStatus(7, false);

    EXPECT_EQ(get("any-other"), 401);
    EXPECT_EQ(get("any-other", "alice"), 200);
    EXPECT_EQ(get("any-other", "bob"), 401);
    EXPECT_EQ(get("any-ours"), 200);
    EXPECT_EQ(get("all-ours"), 401);
    EXPECT_EQ(get("all-ours", "alice"), 200);
    EXPECT_EQ(get("all-ours", "bob"), 401);
    EXPECT_EQ(get("all-denied", "alice"), 403);
}

TEST_F(AccessProtectionTest, DisabledOpensTheFolderButKeepsTheLists)
{
    auto item = folder("paused");
    setList(*item, KLFSItem::kRequireUser, {"alice"});
    item->setAllow(false);
    setList(*item, KLFSItem::kDenyFrom, {kLoopback});
    item->setAuthStatus(7, false);
    ASSERT_EQ(get("paused", "alice"), 403);

    // What choosing "None" does: the same status, switched off.
    item->setAuthStatus(item->authStatus(), true);
    EXPECT_EQ(get("paused"), 200);
    EXPECT_TRUE(item->isAuthenticationDisabled());

    auto reread = KLFSItem::create(docs + "/paused");
    EXPECT_EQ(reread->authDict()[KLFSItem::kRequireUser], KLPlist::stringArray({"alice"}));
    EXPECT_EQ(reread->authDict()[KLFSItem::kDenyFrom], KLPlist::stringArray({kLoopback}));

    reread->setAuthStatus(KLFSItem::kPasswordBit, false);
    EXPECT_EQ(get("paused"), 401);
    EXPECT_EQ(get("paused", "alice"), 200);
}

TEST_F(AccessProtectionTest, DeletedAccessFileOpensTheFolder)
{
    auto item = folder("gone");
    setList(*item, KLFSItem::kRequireUser, {"bob"});
    item->setAuthStatus(KLFSItem::kPasswordBit, false);
    ASSERT_EQ(get("gone"), 401);
    item->deleteAccessFile();
    EXPECT_FALSE(item->hasAccessFile());
    EXPECT_EQ(get("gone"), 200);
}

TEST(ApacheSandboxTest, RestartsGracefullyAndStopsForGood)
{
    ApacheSandbox apache;
    writeText(apache.documentRoot() + "/index.html", "hello\n");
    apache.setExtraConfig("<Location \"/closed\">\n    Require all denied\n</Location>\n");
    ASSERT_TRUE(apache.start()) << apache.error();
    auto pid = apache.pid();
    ASSERT_TRUE(pid);
    EXPECT_EQ(apache.status("/"), 200);
    EXPECT_EQ(apache.status("/closed"), 403);

    apache.setExtraConfig("");
    ASSERT_TRUE(apache.gracefulRestart()) << apache.error();
    EXPECT_EQ(apache.pid(), pid);
    EXPECT_EQ(apache.status("/closed"), 404);

    apache.stop();
    EXPECT_FALSE(apache.isRunning());
    EXPECT_NE(::kill(*pid, 0), 0);
    EXPECT_EQ(httpStatus(apache.port(), "/"), 0);
}

} // namespace
