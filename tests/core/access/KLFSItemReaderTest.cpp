#include "AccessFixture.h"
#include "KLNotificationCenter.h"

#include <random>

#include <unistd.h>

namespace {

using ReaderTest = AccessTest;

TEST_F(ReaderTest, NewItemsReadTheirFileAnnounceItAndDescribeThemselvesAndDirectivesAsRead)
{
    // A link to no file is no access file either.
    std::string dangling = dir.mkdir("dangling");
    ASSERT_EQ(::symlink((dir.path() + "/nowhere").c_str(), (dangling + "/.htaccess").c_str()), 0);
    for (const auto& fresh : {item, KLFSItem::create(dangling)}) {
        EXPECT_EQ(stateOf(*fresh), "0 off allow");
        EXPECT_FALSE(fresh->hasAccessFile());
        EXPECT_EQ(fresh->addressArray(), nullptr);
    }
    // A file is read when its item is made, and every load is announced.
    dir.write("other/.htaccess", "Require user alice\nSatisfy any\n");
    std::vector<const void*> senders;
    KLObservation observe(KLFSItem::kAccessFileDidChange, nullptr,
                          [&](const KLNotification& n) { senders.push_back(n.object); });
    auto other = KLFSItem::create(dir.path() + "/other");
    EXPECT_EQ(senders, std::vector<const void*>{other.get()});
    EXPECT_EQ(stateOf(*other), "1 password | Require user: alice");
    EXPECT_EQ(other->description(), "Path: " + other->accessPath() + "\nEnabled? YES\nExpanded? NO\nAuth Mode: Password");
    // Each parse starts afresh; lists keep known names in order; even "#Satisfy any" clears "all".
    const std::pair<const char*, const char*> cases[] = {
        {"", "0 off"},
        {"Require user bob  carol alice\tbob fendreled alice\n", "1 password all | Require user: bob alice"},
        {"\xc3\xa9\n  rEQUIRE   GROUP staff nobody\n", "1 password all | Require group: staff"},
        {"Require user fendreled\n", "1 password all | Require user:"},
        {"Require valid-user\n", "1 password all | Require user: valid-user"},
        {"#Require user alice bob\n", "0 off | Require user: alice bob"},
        {"Deny from all\nAllow from 10.0.0.1\n", "2 address all allow | Allow from: 10.0.0.1 | Deny from:"},
        {"deny from all\n", "2 address all allow | deny from:"}, // stored under the directive as written
        {"Allow from all\n", "2 address all | Allow from:"}, // only "Deny from all" means allow-list mode
        {"Require user alice\nDeny from 10.0.0.1\n", "7 password address all | Deny from: 10.0.0.1 | Require user: alice"},
        {"Require user alice\nDeny from 10.0.0.1\nSatisfy any\n", "3 password address | Deny from: 10.0.0.1 | Require user: alice"},
        {"Require user alice\nDeny from 10.0.0.1\n#Satisfy any\n", "3 password address | Deny from: 10.0.0.1 | Require user: alice"},
        {"Require user alice\nDeny from 10.0.0.1\nSatisfy all\n", "7 password address all | Deny from: 10.0.0.1 | Require user: alice"},
    };
    for (const auto& [text, state] : cases) {
        parse("Require user alice\nOptions +Indexes\n");
        EXPECT_EQ(stateOf(parse(text)), state) << text;
    }
    EXPECT_TRUE(item->userText().empty());
    EXPECT_NE(parse("").description().find("Auth Mode: Password and Address"), std::string::npos);
    parse("Deny from all\nAllow from 10.0.0.1\n");
    ASSERT_NE(item->addressArray(), nullptr);
    EXPECT_EQ(names(KLPlist(*item->addressArray())), (std::vector<std::string>{"10.0.0.1"}));
    // Without a users source user lists read back empty.
    pane.userNames.reset();
    EXPECT_EQ(stateOf(parse("Require user alice\n")), "1 password all | Require user:");
    // Address discovery joins the pane's list, never placeholders or upper case.
    parse("Deny from 192.168.1.5 ABC fendreled all 10.0.0.1\n");
    EXPECT_EQ(list(KLFSItem::kDenyFrom), (std::vector<std::string>{"192.168.1.5", "10.0.0.1"}));
    ASSERT_EQ(pane.addressList.size(), 3u);
    EXPECT_EQ(pane.addressList[2].description(), "192.168.1.5");
    parse("Deny from 192.168.1.5\n"); // already known: not added twice
    EXPECT_EQ(pane.addressList.size(), 3u);
    pane.discover = false;
    parse("Deny from host.example 10.0.0.1\n");
    EXPECT_EQ(list(KLFSItem::kDenyFrom), (std::vector<std::string>{"10.0.0.1"}));
    EXPECT_EQ(pane.addressList.size(), 3u);
    // Unmanaged lines are kept, managed words dropped.
    parse("Options +Indexes # note\nErrorDocument 403 /Order.html\n## heading\n   \nAuthType Basic\n"
          "DirectoryIndex index.html\r\n# plain comment\nRequire user\n");
    EXPECT_EQ(item->userText(),
              (std::vector<std::string>{"# note", "DirectoryIndex index.html\r", "# plain comment", "Require user"}));
    EXPECT_EQ(stateOf(*item), "0 off");
    // Long blank runs, off the plain-text road by a CR or a non-ASCII character, are read in one pass.
    pane.userNames = std::vector<std::string>{"alice", "bob"};
    const std::string spaces(200000, ' '), tabs(200000, '\t');
    parse(spaces + "\r\n" + tabs + "\xc3\xa9\n" + "Require user" + spaces + "alice\r\n" + spaces + "Deny from" + tabs +
          " 10.0.0.1\r\n");
    EXPECT_EQ(item->userText(), std::vector<std::string>{tabs + "\xc3\xa9"});
    EXPECT_EQ(stateOf(*item), "7 password address all | Deny from: 10.0.0.1 | Require user: alice");
}

// Random lines require nobody unknown, and read alike on the plain-ASCII road and off it.
TEST_F(ReaderTest, RandomLinesReadAlikeOnBothRoadsAndKeepOnlyKnownNames)
{
    const std::vector<std::string> tokens = {"#", "Require", "rEqUiRe", "user", "valid-user", "group", "Allow",
                                             "deny", "Deny", "from", "FROM", "all", "any", "Satisfy", "Order",
                                             "authtype", "alice", "staff", "10.0.0.1", "10.0.0.7", "fendreled",
                                             " ", "  ", "\t", "x", "\xff\x80"};
    const std::vector<std::string> known = {"alice", "bob", "staff", "web", "valid-user"};
    const std::string accent = "\xc3\xa9 ";
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string line;
        for (std::size_t n = 1 + random() % 9; n > 0; --n)
            line += tokens[random() % tokens.size()] + (random() % 3 ? " " : "");
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        SCOPED_TRACE(line);
        std::vector<std::tuple<KLPlist::Dictionary, std::string, std::vector<std::string>, std::size_t>> reads;
        for (const std::string& prefix : {std::string(), accent}) {
            pane.addressList = {KLPlist("10.0.0.1")};
            parse(prefix + line + "\n");
            std::vector<std::string> text = item->userText();
            for (std::string& kept : text) {
                if (kept.rfind(accent, 0) == 0)
                    kept.erase(0, accent.size());
            }
            reads.emplace_back(item->authDict(), stateOf(*item), text, pane.addressList.size());
        }
        EXPECT_EQ(reads[0], reads[1]);
        // A second "#" marks a managed heading, which is dropped.
        for (const std::string& kept : std::get<2>(reads[0]))
            EXPECT_EQ(kept.find('#', 1), std::string::npos) << kept;
        for (const char* key : {"Require user", "Require group"})
            for (const std::string& name : list(key))
                EXPECT_NE(std::find(known.begin(), known.end(), name), known.end()) << name;
    }
}

} // namespace
