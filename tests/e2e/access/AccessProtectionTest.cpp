// Every protection pattern the access file writer produces, written through KLFSItem and judged by a real Apache
// answering on 127.0.0.1.

#include "ApacheSandbox.h"
#include "FakePaneContext.h"
#include "KLFSItem.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

constexpr const char* kLoopback = "127.0.0.1";
constexpr const char* kOther = "10.9.9.9";

class AccessProtectionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        pane.root = apache.documentRoot();
        pane.userNames = std::vector<std::string>{"alice", "bob", "carol"};
        pane.groupNames = std::vector<std::string>{"staff"};
        pane.addressList = {KLPlist(kLoopback), KLPlist(kOther)};
        pane.discover = false;
        // DES hashes of each name followed by "-pw", as htpasswd -d makes them.
        std::ofstream(pane.root + "/.htusers") << "alice:1v0CrP9dOOdmE\nbob:Yfd4VHCQ.0IbE\ncarol:LVWmqZrueS3UA\n";
        std::ofstream(pane.root + "/.htgroups") << "staff: carol\n";
        ASSERT_TRUE(apache.start()) << apache.error();
    }

    // A folder with an index page, its item with these lists, written with this status.
    std::shared_ptr<KLFSItem> folder(const std::string& name, const std::map<const char*, std::vector<std::string>>& lists,
                                     int status, bool allowMode = true)
    {
        std::filesystem::create_directories(pane.root + "/" + name);
        std::ofstream(pane.root + "/" + name + "/index.html") << "<p>" << name << "</p>\n";
        auto item = KLFSItem::create(pane.root + "/" + name);
        for (const auto& [key, values] : lists)
            item->authDict()[key] = KLPlist::stringArray(values);
        item->setAllow(allowMode);
        item->setAuthStatus(status, false);
        return item;
    }
    // Apache's answers to "" (no login), "user" (with the user's password) or "user:password".
    void expectAnswers(const std::string& name, const std::vector<std::pair<std::string, int>>& answers)
    {
        for (const auto& [login, status] : answers) {
            std::size_t colon = login.find(':');
            std::string user = login.substr(0, colon);
            std::string password = colon == std::string::npos ? user + "-pw" : login.substr(colon + 1);
            EXPECT_EQ(login.empty() ? apache.status("/" + name + "/") : apache.status("/" + name + "/", user, password),
                      status) << name << " " << login;
        }
    }

    ApacheSandbox apache;
    FakePaneContext pane;
};

TEST_F(AccessProtectionTest, EveryPatternLetsInExactlyWhomItSays)
{
    using K = KLFSItem;
    struct Case
    {
        const char* name;
        std::map<const char*, std::vector<std::string>> lists;
        int status;
        bool allowMode;
        std::vector<std::pair<std::string, int>> answers;
    };
    const Case cases[] = {
        {"users", {{K::kRequireUser, {"alice", "bob"}}}, 1, true,
         {{"", 401}, {"alice", 200}, {"bob", 200}, {"alice:bob-pw", 401}, {"carol", 401}, {"mallory", 401}}},
        {"anyone", {{K::kRequireUser, {K::kValidUser}}}, 1, true,
         {{"", 401}, {"carol", 200}, {"carol:wrong", 401}, {"mallory", 401}}},
        {"staff", {{K::kRequireGroup, {"staff"}}}, 1, true, {{"", 401}, {"carol", 200}, {"alice", 401}}},
        {"nobody", {}, 1, true, {{"", 401}, {"alice", 401}, {"bob", 401}, {"carol", 401}}},
        {"denied", {{K::kDenyFrom, {kLoopback}}}, 2, false, {{"", 403}}},
        {"others-denied", {{K::kDenyFrom, {kOther}}}, 2, false, {{"", 200}}},
        {"allowed", {{K::kAllowFrom, {kLoopback}}}, 2, true, {{"", 200}}},
        {"others-allowed", {{K::kAllowFrom, {kOther}}}, 2, true, {{"", 403}}},
        {"empty-allow", {}, 2, true, {{"", 403}}},
        {"empty-deny", {}, 2, false, {{"", 200}}},
        // Password, or an address: ours lets in without a login, another one does not.
        {"any-other", {{K::kRequireUser, {"alice"}}, {K::kAllowFrom, {kOther}}}, 3, true,
         {{"", 401}, {"alice", 200}, {"bob", 401}}},
        {"any-ours", {{K::kRequireUser, {"alice"}}, {K::kAllowFrom, {kLoopback}}}, 3, true, {{"", 200}}},
        // Password and an address.
        {"all-ours", {{K::kRequireUser, {"alice"}}, {K::kAllowFrom, {kLoopback}}}, 7, true,
         {{"", 401}, {"alice", 200}, {"bob", 401}}},
        {"all-denied", {{K::kRequireUser, {"alice"}}, {K::kDenyFrom, {kLoopback}}}, 7, false, {{"alice", 403}}},
    };
    for (const Case& c : cases)
        folder(c.name, c.lists, c.status, c.allowMode);
    // Listed in the item but no longer known to the pane: the file must not keep denying it.
    pane.addressList = {KLPlist(kOther)};
    folder("forgotten", {{K::kDenyFrom, {kLoopback}}}, 2, false);
    // Switched off ("None") or deleted, the file opens the folder.
    folder("paused", {{K::kRequireUser, {"alice"}}, {K::kDenyFrom, {kLoopback}}}, 7, false)->setAuthStatus(7, true);
    folder("gone", {{K::kRequireUser, {"bob"}}}, 1)->deleteAccessFile();
    for (const Case& c : cases)
        expectAnswers(c.name, c.answers);
    for (const char* name : {"forgotten", "paused", "gone"})
        expectAnswers(name, {{"", 200}});
}

} // namespace
