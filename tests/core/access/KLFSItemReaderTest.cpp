#include "KLFSItem.h"

#include "FakePaneContext.h"
#include "KLNotificationCenter.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <random>

#include <unistd.h>

namespace {

std::vector<std::string> names(const KLPlist& value)
{
    std::vector<std::string> out;
    if (const KLPlist::Array* array = value.array()) {
        for (const KLPlist& v : *array)
            out.push_back(v.description());
    }
    return out;
}

class ReaderTest : public ::testing::Test
{
protected:
    ReaderTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice", "bob"};
        pane.groupNames = std::vector<std::string>{"staff"};
        pane.addressList = {KLPlist("10.0.0.1")};
        item = KLFSItem::create(dir.mkdir("site"));
    }

    KLFSItem& parse(const std::string& text)
    {
        item->setStringValue(text);
        return *item;
    }

    std::vector<std::string> list(const char* key) { return names(item->authDict()[key]); }
    bool has(const char* key) { return item->authDict().count(key) > 0; }

    TempDir dir;
    FakePaneContext pane;
    std::shared_ptr<KLFSItem> item;
};

TEST_F(ReaderTest, NewItemWithoutFileIsDisabledAllowListWithNoLists)
{
    EXPECT_EQ(item->authStatus(), 0);
    EXPECT_TRUE(item->isAuthenticationDisabled());
    EXPECT_TRUE(item->isAllowSet());
    EXPECT_FALSE(item->hasAccessFile());
    EXPECT_EQ(item->addressArray(), nullptr);
    EXPECT_EQ(item->accessPath(), dir.path() + "/site/.htaccess");
    EXPECT_EQ(item->relativePath(), "site");
    EXPECT_EQ(item->fullPath(), dir.path() + "/site");

    // A link to no file is no access file either.
    std::string dangling = dir.mkdir("dangling");
    ASSERT_EQ(::symlink((dir.path() + "/nowhere").c_str(), (dangling + "/.htaccess").c_str()), 0);
    std::shared_ptr<KLFSItem> linked = KLFSItem::create(dangling);
    EXPECT_FALSE(linked->hasAccessFile());
    EXPECT_TRUE(linked->isAllowSet());
}

TEST_F(ReaderTest, EmptyTextResetsEverythingToStatusFourDisabled)
{
    parse("Require user alice\nOptions +Indexes\n");
    parse("");
    EXPECT_TRUE(item->authDict().empty());
    EXPECT_TRUE(item->userText().empty());
    EXPECT_EQ(item->authStatus(), 0);
    EXPECT_NE(item->description().find("Auth Mode: Password and Address"), std::string::npos);
    EXPECT_TRUE(item->isAuthenticationDisabled());
    EXPECT_FALSE(item->isAllowSet()); // every parse starts with an empty dictionary
}

TEST_F(ReaderTest, RequireLinesKeepOnlyKnownNamesInOrder)
{
    parse("Require user bob  carol alice\tbob fendreled alice\n");
    EXPECT_EQ(list(KLFSItem::kRequireUser), (std::vector<std::string>{"bob", "alice"}));
    EXPECT_EQ(item->authStatus(), 1);
    EXPECT_TRUE(item->isPasswordProtected());
    EXPECT_TRUE(item->requiresAll()); // the stored bit 4, unlike the status query

    parse("  require   GROUP staff nobody\n");
    EXPECT_EQ(list(KLFSItem::kRequireGroup), (std::vector<std::string>{"staff"}));
    EXPECT_TRUE(item->isPasswordProtected());

    parse("Require user fendreled\n");
    EXPECT_TRUE(item->isPasswordProtected());
    EXPECT_TRUE(list(KLFSItem::kRequireUser).empty());
}

TEST_F(ReaderTest, ValidUserAndCommentedDirectives)
{
    parse("Require valid-user\n");
    EXPECT_EQ(list(KLFSItem::kRequireUser), (std::vector<std::string>{"valid-user"}));
    EXPECT_EQ(item->authStatus(), 1);

    parse("#Require user alice bob\n");
    EXPECT_EQ(list(KLFSItem::kRequireUser), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_TRUE(item->isAuthenticationDisabled());
    EXPECT_EQ(item->authStatus(), 0);
    EXPECT_FALSE(item->isPasswordProtected());
}

TEST_F(ReaderTest, AddressLinesAndAllowListMode)
{
    parse("Deny from all\nAllow from 10.0.0.1\n");
    EXPECT_TRUE(item->isAllowSet());
    EXPECT_EQ(list(KLFSItem::kAllowFrom), (std::vector<std::string>{"10.0.0.1"}));
    ASSERT_TRUE(has(KLFSItem::kDenyFrom));
    EXPECT_TRUE(list(KLFSItem::kDenyFrom).empty());
    EXPECT_EQ(item->authStatus(), 2);
    ASSERT_NE(item->addressArray(), nullptr);
    EXPECT_EQ(names(KLPlist(*item->addressArray())), (std::vector<std::string>{"10.0.0.1"}));

    parse("deny from all\n");
    EXPECT_TRUE(item->isAllowSet());
    EXPECT_TRUE(has("deny from")); // stored under the directive as written
    EXPECT_FALSE(has(KLFSItem::kDenyFrom));

    parse("Allow from all\n"); // only "Deny from all" means allow-list mode
    EXPECT_FALSE(item->isAllowSet());
}

TEST_F(ReaderTest, AddressDiscoveryJoinsThePaneListButNeverPlaceholdersOrUpperCase)
{
    parse("Deny from 192.168.1.5 ABC fendreled all 10.0.0.1\n");
    EXPECT_EQ(list(KLFSItem::kDenyFrom), (std::vector<std::string>{"192.168.1.5", "10.0.0.1"}));
    ASSERT_EQ(pane.addressList.size(), 2u);
    EXPECT_EQ(pane.addressList[1].description(), "192.168.1.5");

    parse("Deny from 192.168.1.5\n"); // already known: not added twice
    EXPECT_EQ(pane.addressList.size(), 2u);

    pane.discover = false;
    parse("Deny from host.example 10.0.0.1\n");
    EXPECT_EQ(list(KLFSItem::kDenyFrom), (std::vector<std::string>{"10.0.0.1"}));
    EXPECT_EQ(pane.addressList.size(), 2u);
}

TEST_F(ReaderTest, SatisfyAnyClearsTheAllBitEvenWhenCommented)
{
    parse("Require user alice\nDeny from 10.0.0.1\n");
    EXPECT_EQ(item->authStatus(), 7);
    EXPECT_TRUE(item->requiresAll());
    parse("Require user alice\nDeny from 10.0.0.1\nSatisfy any\n");
    EXPECT_EQ(item->authStatus(), 3);
    parse("Require user alice\nDeny from 10.0.0.1\n#Satisfy any\n");
    EXPECT_EQ(item->authStatus(), 3);
    parse("Require user alice\nDeny from 10.0.0.1\nSatisfy all\n");
    EXPECT_EQ(item->authStatus(), 7);
}

TEST_F(ReaderTest, UnmanagedLinesAreKeptManagedWordsDropped)
{
    parse("Options +Indexes # note\n"
          "ErrorDocument 403 /Order.html\n"
          "## heading\n"
          "   \n"
          "AuthType Basic\n"
          "DirectoryIndex index.html\r\n"
          "# plain comment\n"
          "Require user\n");
    EXPECT_EQ(item->userText(),
              (std::vector<std::string>{"# note", "DirectoryIndex index.html\r", "# plain comment", "Require user"}));
    EXPECT_TRUE(item->authDict().empty());
    EXPECT_TRUE(item->isAuthenticationDisabled());
}

TEST_F(ReaderTest, ReadsTheFileAtCreationAndAnnouncesEveryLoad)
{
    dir.write("other/.htaccess", "Require user alice\n");
    int posts = 0;
    const void* sender = nullptr;
    KLObservation observe(KLFSItem::kAccessFileDidChange, nullptr, [&](const KLNotification& n) {
        ++posts;
        sender = n.object;
    });
    auto other = KLFSItem::create(dir.path() + "/other");
    EXPECT_EQ(posts, 1);
    EXPECT_EQ(sender, other.get());
    EXPECT_TRUE(other->isPasswordProtected());
    EXPECT_EQ(other->stringValue(), "Require user alice\n");
}

TEST_F(ReaderTest, WithoutUsersSourceUserListsReadBackEmpty)
{
    pane.userNames.reset();
    parse("Require user alice\n");
    EXPECT_TRUE(list(KLFSItem::kRequireUser).empty());
    EXPECT_TRUE(item->isPasswordProtected());
}

TEST_F(ReaderTest, DescriptionNamesPathStateAndMode)
{
    parse("Require user alice\nSatisfy any\n");
    EXPECT_EQ(item->description(),
              "Path: " + item->accessPath() + "\nEnabled? YES\nExpanded? NO\nAuth Mode: Password");
    KLFSItem::saveState(true, *item);
    EXPECT_NE(item->description().find("Expanded? YES"), std::string::npos);
}

TEST_F(ReaderTest, GarbageNeverCrashesAndNeverTurnsIntoProtection)
{
    std::mt19937 random(42);
    const std::string alphabet = "#Require user group Allow Deny from all any \t\r\n\xc3\xa9\xff\x80 Satisfy";
    for (int round = 0; round < 300; ++round) {
        std::string text;
        std::size_t length = random() % 400;
        for (std::size_t i = 0; i < length; ++i)
            text += alphabet[random() % alphabet.size()];
        parse(text);
        // A kept line holds no "#" but the one that marks it as a comment:
        // a second one is a managed heading and is dropped.
        for (const std::string& kept : item->userText())
            EXPECT_EQ(kept.find('#', 1), std::string::npos) << kept;
        for (const char* key : {"Require user", "Require group", "Allow from", "Deny from"})
            for (const std::string& name : list(key))
                EXPECT_TRUE(name == "alice" || name == "bob" || name == "staff" || name == "10.0.0.1") << name;
    }
}

// Long runs of blanks, with a carriage return or a non-ASCII character that
// keeps the line off the plain-text road, are read in one pass each.
TEST_F(ReaderTest, LongBlankRunsAreReadWithoutStalling)
{
    const std::string spaces(200000, ' ');
    const std::string tabs(200000, '\t');
    parse(spaces + "\r\n" + tabs + "\xc3\xa9\n" + "Require user" + spaces + "alice\r\n" + spaces +
          "Deny from" + tabs + " 10.0.0.1\r\n");
    EXPECT_EQ(item->userText(), std::vector<std::string>{tabs + "\xc3\xa9"});
    EXPECT_EQ(list("Require user"), std::vector<std::string>{"alice"});
    EXPECT_EQ(list("Deny from"), std::vector<std::string>{"10.0.0.1"});
    EXPECT_TRUE(item->isPasswordProtected());
    EXPECT_TRUE(item->isAddressProtected());
}

// Lines of plain ASCII take a quicker road through the reader; a line with a
// non-ASCII character in front of its directive takes the patterns alone.
// Both must read every line alike.
TEST_F(ReaderTest, PlainAndNonAsciiLinesReadAlike)
{
    const std::vector<std::string> tokens = {"#", "Require", "rEqUiRe", "user", "valid-user", "group", "Allow",
                                             "deny", "Deny", "from", "FROM", "all", "any", "Satisfy", "Order",
                                             "authtype", "alice", "staff", "10.0.0.1", "10.0.0.7", "fendreled",
                                             " ", "  ", "\t", "x"};
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string line;
        for (std::size_t n = 1 + random() % 7; n > 0; --n)
            line += tokens[random() % tokens.size()] + (random() % 3 ? " " : "");
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        SCOPED_TRACE(line);

        pane.addressList = {KLPlist("10.0.0.1")};
        parse(line + "\n");
        KLPlist::Dictionary plainAuth = item->authDict();
        std::int32_t plainStatus = item->authStatus();
        bool plainDisabled = item->isAuthenticationDisabled();
        std::vector<std::string> plainText = item->userText();
        std::size_t plainDiscovered = pane.addressList.size();

        pane.addressList = {KLPlist("10.0.0.1")};
        const std::string accent = "\xc3\xa9 ";
        parse(accent + line + "\n");
        std::vector<std::string> text = item->userText();
        for (std::string& kept : text) {
            if (kept.rfind(accent, 0) == 0)
                kept.erase(0, accent.size());
        }
        EXPECT_EQ(item->authDict(), plainAuth);
        EXPECT_EQ(item->authStatus(), plainStatus);
        EXPECT_EQ(item->isAuthenticationDisabled(), plainDisabled);
        EXPECT_EQ(text, plainText);
        EXPECT_EQ(pane.addressList.size(), plainDiscovered);
    }
}

} // namespace
