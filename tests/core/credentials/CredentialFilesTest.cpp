#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLGroupsDataSource.h"
#include "KLGroupsMerge.h"
#include "KLNameIndex.h"
#include "KLNameSet.h"
#include "KLPasteboard.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "KLUsersMerge.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using Tree = std::vector<std::pair<std::string, std::vector<std::string>>>;
using Names = std::vector<std::string>;

Names usersOf(const KLUserRecords& list)
{
    Names out;
    for (const KLUserRecord& record : list)
        out.push_back(record.name + ":" + record.hash);
    return out;
}

KLUserRecord record(const char* name, const char* hash) { return {name, hash}; }

// The groups and their members, checking each node's parent on the way.
Tree treeOf(const KLUserItem& root)
{
    Tree tree;
    for (const auto& group : *root.children()) {
        std::vector<std::string> members;
        for (const auto& member : *group->children()) {
            EXPECT_TRUE(member->parent() == group.get() && !member->hasChildren());
            members.push_back(member->value());
        }
        EXPECT_EQ(group->parent(), &root);
        tree.emplace_back(group->value(), members);
    }
    return tree;
}

// The users and groups files of one root.
class CredentialFilesTest : public ::testing::Test
{
protected:
    CredentialFilesTest()
    {
        pane.root = dir.path();
        setting("Sort Groups", false);
        setting("Case Sensitive Compare", false);
    }
    static void setting(const char* key, bool on) { KLUserDefaults::standardUserDefaults().setBool(on, key); }
    std::string file(const char* name = ".htgroups") const { return readFile(dir.file(name)); }
    std::shared_ptr<KLUsersDataSource> readUsers(const std::string& contents)
    {
        dir.write(".htusers", contents);
        return KLUsersDataSource::initWithUserfile();
    }
    std::shared_ptr<KLGroupsDataSource> read(const std::string& contents)
    {
        dir.write(".htgroups", contents);
        auto groups = KLGroupsDataSource::initWithUsers(KLNameSet({"alice", "bob", "carol"}));
        groups->setOutlineView(&view);
        return groups;
    }
    // The outline's rows as a fully expanded outline shows them.
    void showAllRows(KLGroupsDataSource& groups)
    {
        view.rows.clear();
        for (const auto& group : groups.rootArray()) {
            view.rows.push_back(group.get());
            for (const auto& member : *group->children())
                view.rows.push_back(member.get());
        }
    }
    KLUserItem* group(KLGroupsDataSource& groups, std::size_t i) { return groups.rootArray()[i].get(); }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view{"groupOutline"};
};

TEST_F(CredentialFilesTest, ReaderAndWriterKeepTheirOdditiesAndNeverOverwriteBadInput)
{
    // Unknown users, empty pieces and CR-ended members go, duplicates and blank lines stay;
    // lines starting with ":" would hold the scanner in place.
    const std::tuple<std::string, Tree, std::string> cases[] = {
        {"staff: alice dave  alice bob\r\n   : carol\nops:carol\n\nweb: bob\nloose\nmore: alice",
         {{"staff", {"alice", "alice"}}, {"ops", {"carol"}}, {"\nweb", {"bob"}}, {"loose\nmore", {"alice"}}},
         "staff: alice alice \nops: carol \n\nweb: bob \nloose\nmore: alice \n"},
        {"a:\nb: alice\n", {{"a", {}}, {"b", {"alice"}}}, "a: \nb: alice \n"},
        {":\n: alice\nstaff: bob \n:", {{"staff", {"bob"}}}, "staff: bob \n"},
        {"\xEF\xBB\xBF" "staff: bob \r\n", {{"staff", {"bob"}}}, "staff: bob \n"}};
    for (const auto& [text, tree, written] : cases) {
        auto groups = read(text);
        EXPECT_EQ(treeOf(*groups->root()), tree);
        ASSERT_TRUE(groups->writeGroupfile());
        EXPECT_EQ(file(), written);
    }
    std::string garbage;
    for (std::uint32_t x = 99; garbage.size() < 200000;)
        garbage += static_cast<char>((x = x * 1103515245 + 12345) >> 16);
    read(garbage)->writeGroupfile();
    EXPECT_EQ(file(), garbage);

    auto latin1 = read("\xE9" "quipe: alice \n");
    EXPECT_EQ(latin1->list(), (Names{"\xC3\xA9" "quipe"}));
    latin1->addNewGroup("staff");
    EXPECT_FALSE(latin1->writeGroupfile());
    EXPECT_EQ(file(), "\xE9" "quipe: alice \n");
}

// A rename's end sorts by the old names: the renamed group moves at the next sort.
TEST_F(CredentialFilesTest, RenamingRemovesSeparatorsChecksNamesAndSortsByTheOldNames)
{
    auto groups = read("staff: alice \n");
    KLUserItem* staff = group(*groups, 0);
    groups->setObjectValue(view, "new:staff", "group", staff);
    EXPECT_EQ(file(), "newstaff: alice \n");
    EXPECT_TRUE(groups->hasGroup("newstaff") && !groups->hasGroup("staff") && !groups->hasGroup("NewStaff"));
    KLUserItem* alice = (*staff->children())[0].get();
    groups->setObjectValue(view, "mallory", "group", alice);
    EXPECT_EQ(alice->value(), "alice");
    EXPECT_EQ(std::pair(groups->shouldEdit(view, "group", alice), groups->shouldEdit(view, "group", staff)),
              std::pair(false, true));
    groups = read("Staff: \nops: \n");
    showAllRows(*groups);
    EXPECT_EQ(std::pair(groups->containsItem("staff"), groups->containsItem("web")), std::pair(true, false));
    view.editingRow = 0;
    EXPECT_EQ(std::pair(groups->containsItem("STAFF"), groups->containsItem("OPS")), std::pair(false, true));
    for (auto [text, valid] : {std::pair("STAFF", true), std::pair("Ops", false), std::pair("   ", false),
                               std::pair("web team", false), std::pair("web\t", false),
                               std::pair("web\xC2\xA0team", false), std::pair("web", true)})
        EXPECT_EQ(groups->validateText(view, text), valid) << text;
    view.editingRow = -1;
    groups = read("beta: \nAlpha: \n");
    groups->addNewGroup("gamma");
    EXPECT_EQ(groups->list(), (Names{"beta", "Alpha", "gamma"}));
    EXPECT_EQ(file(), "beta: \nAlpha: \n");
    EXPECT_FALSE(groups->textShouldEndEditing(view, "ALPHA"));
    EXPECT_EQ(groups->list(), (Names{"beta", "Alpha", "gamma"})) << "refused: nothing sorted";
    setting("Sort Groups", true);
    groups->addNewGroup("alpha2");
    EXPECT_EQ(groups->list(), (Names{"Alpha", "alpha2", "beta", "gamma"}));
    setting("Case Sensitive Compare", true);
    groups->addNewGroup("Zeta");
    EXPECT_EQ(groups->list(), (Names{"Alpha", "Zeta", "alpha2", "beta", "gamma"}));
    setting("Case Sensitive Compare", false);
    groups = read("c: \na: \n");
    KLUserItem* renamed = group(*groups, 0); // "c"
    ASSERT_TRUE(groups->textShouldEndEditing(view, "b"));
    EXPECT_EQ(groups->list(), (Names{"a", "c"}));
    groups->setObjectValue(view, "b", "group", renamed);
    EXPECT_EQ(groups->list(), (Names{"a", "b"}));
    KLUserItem* first = group(*groups, 0); // "a"
    ASSERT_TRUE(groups->textShouldEndEditing(view, "z"));
    groups->setObjectValue(view, "z", "group", first);
    EXPECT_EQ(groups->list(), (Names{"z", "b"}));
    ASSERT_TRUE(groups->textShouldEndEditing(view, "y"));
    EXPECT_EQ(groups->list(), (Names{"b", "z"}));
}

TEST_F(CredentialFilesTest, RemovingAUserOrGroupTakesEveryMembershipAndDropsAddUsersToGroupsOnly)
{
    auto groups = read("a: alice alice bob \nb: bob \nc: alice \n");
    groups->removeUserFromGroups(" alice\n");
    EXPECT_EQ(treeOf(*groups->root()), (Tree{{"a", {"bob"}}, {"b", {"bob"}}, {"c", {}}}));
    EXPECT_EQ(file(), "a: bob \nb: bob \nc: \n");
    int reloads = view.reloads;
    groups->removeUserFromGroups("nobody");
    EXPECT_EQ(view.reloads, reloads) << "nothing removed, nothing redrawn";
    EXPECT_GE(reloads, 1);
    groups = read("staff: alice \n");
    KLUserItem* staff = group(*groups, 0);
    KLItem alice = (*staff->children())[0].get();
    KLPasteboard users, text;
    users.declareTypes({KLPasteboard::kFendrelUserType, "public.utf8-plain-text"});
    users.setString("bob:(null)", KLPasteboard::kFendrelUserType);
    text.declareTypes({"public.utf8-plain-text"});
    text.setString("bob", "public.utf8-plain-text");
    EXPECT_EQ(groups->validateDrop(view, users, staff, -1), KLDragOperation::Copy);
    for (auto [board, target] : {std::pair(&users, alice), std::pair(&users, KLItem(nullptr)), std::pair(&text, KLItem(staff))})
        EXPECT_EQ(groups->validateDrop(view, *board, target, 0), KLDragOperation::None);

    EXPECT_TRUE(groups->acceptDrop(view, users, staff, 0));
    EXPECT_EQ(treeOf(*groups->root()), (Tree{{"staff", {"bob", "alice"}}}));
    EXPECT_EQ(file(), "staff: bob alice \n");
    EXPECT_FALSE(groups->acceptDrop(view, users, staff, 2) || groups->acceptDrop(view, users, alice, 0));
    users.setString("carol:(null)", KLPasteboard::kFendrelUserType);
    EXPECT_TRUE(groups->acceptDrop(view, users, staff, 99));
    EXPECT_FALSE(groups->writeItems(view, {staff}, users));
    // Another program's text under the same type cannot break the file's lines.
    for (const char* foreign : {"dave mallory", "eve\nstaff: mallory", ":x", "\t"}) {
        users.setString(foreign, KLPasteboard::kFendrelUserType);
        EXPECT_FALSE(groups->acceptDrop(view, users, staff, 0)) << foreign;
    }
    EXPECT_EQ(file(), "staff: bob alice carol \n");
}

// The outline's shape is checked through the pane's model; what it does not show is here.
TEST_F(CredentialFilesTest, EmptyGroupsExpandAndCollapsingAGroupSelectsIt)
{
    auto groups = read("a: alice \nb: bob \nc: \n");
    KLItem alice = groups->child(view, 0, group(*groups, 0));
    EXPECT_EQ(std::tuple(groups->isItemExpandable(view, group(*groups, 2)), groups->isItemExpandable(view, alice),
                         groups->isItemExpandable(view, nullptr), groups->objectValue(view, "group", alice)),
              std::tuple(true, false, false, KLPlist("alice")));
    // With a selected member, it selects the group and tells the pane.
    showAllRows(*groups);
    int actions = 0;
    groups->setAction([&] { ++actions; });
    view.selection = {3};
    groups->itemWillCollapse(view, group(*groups, 1));
    EXPECT_EQ(std::pair(view.selection, actions), std::pair(std::vector<int>{2}, 1));
}

TEST_F(CredentialFilesTest, FilesAreReadInEveryEncodingAndNeverOverwrittenByWhatCannotBeWritten)
{
    EXPECT_TRUE(KLUsersDataSource::initWithUserfile()->records().empty()) << "no file";
    std::string big, utf16 = "\xFF\xFE", garbage;
    for (int count = 0; big.size() < 5 * 1024 * 1024; ++count)
        big += "user" + std::to_string(count) + ":abJnggxhB/yWI\n";
    for (char c : std::string("bob:h2\n"))
        utf16 += {c, '\0'};
    for (std::uint32_t x = 12345; garbage.size() < 200000;)
        garbage += static_cast<char>((x = x * 1103515245 + 12345) >> 16);
    const std::string latin1 = "jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n";
    // A UTF-8 byte order mark before bytes that are not UTF-8: nothing is read.
    const std::string undecodable = "\xEF\xBB\xBF" "alice:h1\n\xFF\xFE\xFD";
    // text, the records read (if checked), the file after a write (if written)
    const std::tuple<std::string, std::optional<Names>, std::optional<std::string>> cases[] = {
        // The reserved name is dropped in any case; CR before LF stays in the hash.
        {"alice:abJnggxhB/yWI\nFendReLed:xyz\n", Names{"alice:abJnggxhB/yWI"}, "alice:abJnggxhB/yWI\n"},
        {"alice:h1\r\nbob:h2\r\n", Names{"alice:h1\r", "bob:h2\r"}, "alice:h1\r\nbob:h2\r\n"},
        {"", Names{}, ""},
        {big, std::nullopt, big},
        {"\xEF\xBB\xBF" "alice:h1\n", Names{"alice:h1"}, std::nullopt},
        {utf16, Names{"bob:h2"}, std::nullopt},
        // Latin-1 names cannot be written in ASCII.
        {latin1, Names{"jos\xC3\xA9:abcdefghijklm", "zo\xC3\xAB:nopqrstuvwxyz", "alice:h1"}, latin1},
        {garbage, std::nullopt, garbage},
        {undecodable, Names{}, undecodable}};
    for (const auto& [text, users, written] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        auto source = readUsers(text);
        EXPECT_EQ(usersOf(source->records()), users.value_or(usersOf(source->records())));
        if (!written)
            continue;
        if (text == undecodable)
            source->records().push_back(record("bob", "h2"));
        EXPECT_EQ(source->writeUserfile(), *written != latin1 && *written != garbage && *written != undecodable);
        EXPECT_EQ(file(".htusers"), *written);
    }
}

TEST_F(CredentialFilesTest, ScannerRulesAreKept)
{
    const std::pair<const char*, Names> cases[] = {
        // Leading white space (Unicode's too, not malformed UTF-8) and blank lines are skipped;
        // white space before the colon stays in the name; the hash runs to the line end.
        {"\n\n  \talice :h 1 \n\n\xC2\xA0 \n\xE2\x80\xA8" "bob:h2\n\xFF:h3", {"alice :h 1 ", "bob:h2", "\xFF:h3"}},
        // An empty hash takes the whole next line, which makes no record.
        {"alice:\ncarol:h3\n", {"alice:carol:h3"}},
        // A name and a colon at the very end take the previous hash, or none.
        {"alice:h1\nbob:", {"alice:h1", "bob:h1"}},
        {"bob:", {"bob:"}},
        // A line without a colon runs into the next line's name.
        {"alice:h1\nbob\ncarol:h3\n", {"alice:h1", "bob\ncarol:h3"}},
        {" \n\r\n\t", {}},
        // Lines starting with a colon are skipped without hanging.
        {":h0\nalice:h1\n  :h2\nbob:h3", {"alice:h1", "bob:h3"}},
        {"::::\n:\n", {}},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(usersOf(KLUsersDataSource::parseUsers(text)), expected) << ::testing::PrintToString(text);
    // A new-file extension is appended to the name as it stands.
    KLUserDefaults::standardUserDefaults().setObject("-new", "New File Extension");
    dir.write(".htusers", "alice:h1\n");
    dir.write(".htusers-new", "bob:h2\n");
    KLUsersDataSource users;
    EXPECT_EQ(usersOf(users.parseUserfile(true)), Names{"bob:h2"});
    EXPECT_EQ(usersOf(users.parseUserfile(false)), Names{"alice:h1"});
}

TEST_F(CredentialFilesTest, LookUpsFoldCaseAndFollowChanges)
{
    auto users = readUsers("Alice:h1\nbob:h2\n");
    // containsItem folds case and takes the "any valid user" spellings; hasUser is exact.
    const std::tuple<const char*, bool, bool> lookups[] = {
        {"", true, false},    {"VALID-user", true, false}, {"any valid user", true, false}, {"alice", true, false},
        {"BOB", true, false}, {" bob", false, false},      {"carol", false, false},         {"Alice", true, true}};
    for (auto [name, contained, user] : lookups) {
        EXPECT_EQ(users->containsItem(name), contained) << name;
        EXPECT_EQ(users->hasUser(name), user) << name;
    }
    // The pane appends to the shared array directly; look-ups follow.
    users->records().push_back(record("carol", "h3"));
    EXPECT_TRUE(users->containsItem("CAROL") && users->hasUser("carol"));
    // Same length, other names: the write that follows every change refreshes.
    users->records().back() = record("dave", "h4");
    ASSERT_TRUE(users->writeUserfile());
    EXPECT_FALSE(users->hasUser("carol"));
    EXPECT_TRUE(users->hasUser("dave"));
}

// Changes made here carried over to a file another program edited meanwhile.
// what, base (as last read here), ours (the list now), theirs (the file now), written
using MergeCase = std::array<const char*, 5>;

TEST(MergeTest, UsersAndGroupsKeepBothSidesChanges)
{
    const MergeCase cases[] = {
        {"added on both sides", "a:1\n", "a:1\nb:2\n", "a:1\nz:9\n", "a:1\nz:9\nb:2\n"},
        {"deleted here, added there", "a:1\nb:2\n", "a:1\n", "z:9\na:1\nb:2\n", "z:9\na:1\n"},
        {"new password here", "a:1\nb:2\n", "a:5\nb:2\n", "b:2\na:1\nz:9\n", "b:2\na:5\nz:9\n"},
        {"new password there stays", "a:1\nb:2\n", "a:1\nb:2\nc:3\n", "a:7\nb:2\n", "a:7\nb:2\nc:3\n"},
        {"deleted there stays deleted", "a:1\nb:2\n", "a:1\nb:2\nc:3\n", "b:2\n", "b:2\nc:3\n"},
        {"changed here, deleted there", "a:1\n", "a:5\n", "", "a:5\n"},
        {"added on both sides with one name", "", "a:1\n", "a:9\n", "a:1\n"},
    };
    for (const MergeCase& c : cases) {
        auto parse = [&](int side) { return KLUsersDataSource::parseUsers(c[side]); };
        EXPECT_EQ(KLUsersDataSource::userfileText(KLUsersMerge::merged(parse(1), parse(2), parse(3))), c[4]) << c[0];
    }
    const MergeCase groupCases[] = {
        {"group added on both sides", "g: a \n", "g: a \nh: b \n", "g: a \nx: c \n", "g: a \nx: c \nh: b \n"},
        {"member added and removed here", "g: a b \n", "g: b c \n", "g: a b z \n", "g: b z c \n"},
        {"renamed here, member added there", "g: a \n", "h: a \n", "g: a z \n", "h: a \n"},
        {"deleted there, untouched here", "g: a \nh: b \n", "g: a \nh: b \nk:\n", "h: b \n", "h: b \nk: \n"},
        {"deleted there, changed here", "g: a \n", "g: a b \n", "", "g: a b \n"},
        {"unchanged here", "g: a \n", "g: a \n", "g: a z \nx: c \n", "g: a z \nx: c \n"},
    };
    auto isUser = [](std::string_view name) { return name.size() == 1; };
    for (const MergeCase& c : groupCases) {
        auto parse = [&](int side) { return KLGroupsDataSource::parseGroups(c[side], isUser); };
        auto theirs = parse(3);
        KLGroupsMerge::mergeInto(*parse(1), *parse(2), *theirs);
        EXPECT_EQ(KLGroupsDataSource::groupfileText(*theirs), c[4]) << c[0];
    }
}

TEST(NameIndexTest, IndexAndSetCountDuplicatesFoldCaseAndTakeLongNames)
{
    KLNameIndex exact(KLNameIndex::Matching::Exact), folded(KLNameIndex::Matching::IgnoringCase);
    for (const char* name : {"Alice", "Alice", "J\xC3\x96RG"}) {
        exact.add(name);
        folded.add(name);
    }
    EXPECT_EQ(std::tuple(exact.contains("Alice"), exact.contains("alice"), folded.contains("ALICE"),
                         folded.contains("j\xC3\xB6rg")),
              std::tuple(true, false, true, true));
    exact.remove("Alice");
    folded.remove("aLICE");
    EXPECT_TRUE(exact.contains("Alice") && folded.contains("alice")) << "one of two removed";
    exact.remove("Alice");
    folded.remove("alice");
    EXPECT_FALSE(exact.contains("Alice") || folded.contains("alice"));
    exact.remove("never there");
    EXPECT_EQ(exact.size(), 1u);
    EXPECT_TRUE(KLNameIndex::equalIgnoringCase("\xE2\x84\xAAim", "kim")); // the Kelvin sign folds to k
    std::vector<std::string> names{"a-name-longer-than-fifteen-bytes", "user7", ""};
    for (int i = 0; i < 5000; ++i)
        names.push_back("user" + std::to_string(i));
    KLNameSet set(names);
    for (const char* in : {"user0", "user4999", "a-name-longer-than-fifteen-bytes", ""})
        EXPECT_TRUE(set.contains(in)) << in;
    for (const char* out : {"user5000", "User1", "user1\r", "a-name-longer-than-fifteen-byteS"})
        EXPECT_FALSE(set.contains(out)) << out;
    EXPECT_FALSE(KLNameSet({}).contains(""));
}

} // namespace
