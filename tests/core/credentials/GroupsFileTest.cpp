#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLGroupsDataSource.h"
#include "KLPasteboard.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

using Tree = std::vector<std::pair<std::string, std::vector<std::string>>>;
using Names = std::vector<std::string>;

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

class GroupsFileTest : public ::testing::Test
{
protected:
    GroupsFileTest()
    {
        pane.root = dir.path();
        setting("Sort Groups", false);
        setting("Case Sensitive Compare", false);
    }
    static void setting(const char* key, bool on) { KLUserDefaults::standardUserDefaults().setBool(on, key); }
    std::string file() const { return readFile(dir.file(".htgroups")); }
    std::shared_ptr<KLGroupsDataSource> read(const std::string& contents)
    {
        dir.write(".htgroups", contents);
        auto groups = KLGroupsDataSource::initWithUsers({"alice", "bob", "carol"});
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

TEST_F(GroupsFileTest, ReaderAndWriterKeepTheirOdditiesAndNeverOverwriteBadInput)
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

TEST_F(GroupsFileTest, RenamingRemovesSeparatorsAndNamesAreCheckedSparingTheGroupBeingEdited)
{
    auto groups = read("staff: alice \n");
    KLUserItem* staff = group(*groups, 0);
    groups->setObjectValue(view, "new:staff", "group", staff);
    EXPECT_EQ(file(), "newstaff: alice \n");
    EXPECT_TRUE(groups->hasGroup("newstaff") && !groups->hasGroup("staff") && !groups->hasGroup("NewStaff"));
    // Member names are not edited.
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
}

// A rename's end sorts by the old names: the renamed group moves at the next sort.
TEST_F(GroupsFileTest, NewGroupsSortByTheCaseSettingAndARenameByTheOldNames)
{
    auto groups = read("beta: \nAlpha: \n");
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

TEST_F(GroupsFileTest, RemovingAUserOrGroupTakesEveryMembershipAndDropsAddUsersToGroupsOnly)
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
TEST_F(GroupsFileTest, EmptyGroupsExpandAndCollapsingAGroupSelectsIt)
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

} // namespace
