#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLGroupsDataSource.h"
#include "KLPasteboard.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>


namespace {

using Tree = std::vector<std::pair<std::string, std::vector<std::string>>>;

Tree treeOf(const KLUserItem& root)
{
    Tree tree;
    for (const auto& group : *root.children()) {
        std::vector<std::string> members;
        for (const auto& member : *group->children()) {
            EXPECT_EQ(member->parent(), group.get());
            EXPECT_FALSE(member->hasChildren());
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
        KLUserDefaults::standardUserDefaults().setBool(false, "Sort Groups");
        KLUserDefaults::standardUserDefaults().setBool(false, "Case Sensitive Compare");
    }

    std::string groupsPath() const { return dir.file(".htgroups"); }
    std::shared_ptr<KLGroupsDataSource> read(const std::string& contents,
                                             const std::vector<std::string>& users = {"alice", "bob", "carol"})
    {
        dir.write(".htgroups", contents);
        auto groups = KLGroupsDataSource::initWithUsers(users);
        groups->setOutlineView(&view);
        return groups;
    }
    // Lists the outline's rows the way a fully expanded outline shows them.
    void showAllRows(KLGroupsDataSource& groups)
    {
        view.rows.clear();
        for (const auto& group : groups.rootArray()) {
            view.rows.push_back(group.get());
            for (const auto& member : *group->children())
                view.rows.push_back(member.get());
        }
    }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view{"groupOutline"};
};

TEST_F(GroupsFileTest, WritesTrailingSpacesAndReadsThemBack)
{
    auto groups = read("");
    KLUserItem* staff = groups->addNewGroup("staff");
    staff->children()->push_back(KLUserItem::itemWithValue("alice", staff, std::nullopt));
    staff->children()->push_back(KLUserItem::itemWithValue("bob", staff, std::nullopt));
    groups->addNewGroup("empty");
    ASSERT_TRUE(groups->writeGroupfile());
    EXPECT_EQ(readFile(groupsPath()), "staff: alice bob \nempty: \n");
    auto again = KLGroupsDataSource::initWithUsers({"alice", "bob"});
    EXPECT_EQ(treeOf(*again->root()), (Tree{{"staff", {"alice", "bob"}}, {"empty", {}}}));
    EXPECT_EQ(again->list(), (std::vector<std::string>{"staff", "empty"}));
    EXPECT_TRUE(again->hasGroup("empty"));
    EXPECT_FALSE(again->hasGroup("Empty"));
}

TEST_F(GroupsFileTest, ReaderKeepsItsOddities)
{
    // Unknown users and empty pieces go; duplicates stay; a member with a
    // carriage return is no user.
    auto groups = read("staff: alice dave  alice bob\r\n   : carol\nops:carol\n\nweb: bob\nloose\nmore: alice");
    EXPECT_EQ(treeOf(*groups->root()), (Tree{{"staff", {"alice", "alice"}},
                                             {"ops", {"carol"}},
                                             {"\nweb", {"bob"}},
                                             {"loose\nmore", {"alice"}}}));
    // The blank line comes back; the dropped names do not.
    ASSERT_TRUE(groups->writeGroupfile());
    EXPECT_EQ(readFile(groupsPath()), "staff: alice alice \nops: carol \n\nweb: bob \nloose\nmore: alice \n");
    // A group without members and without the space after its colon.
    EXPECT_EQ(treeOf(*read("a:\nb: alice\n")->root()), (Tree{{"a", {}}, {"b", {"alice"}}}));
}

TEST_F(GroupsFileTest, BadInputEndsAndKeepsTheFile)
{
    // Lines starting with ":" would hold the scanner in place.
    EXPECT_EQ(treeOf(*read(":\n: alice\nstaff: bob \n:")->root()), (Tree{{"staff", {"bob"}}}));
    EXPECT_EQ(treeOf(*read("\xEF\xBB\xBF" "staff: bob \r\n")->root()), (Tree{{"staff", {"bob"}}}));
    std::string garbage;
    std::uint32_t x = 99;
    for (int i = 0; i < 200000; ++i) {
        x = x * 1103515245 + 12345;
        garbage += static_cast<char>(x >> 16);
    }
    auto groups = read(garbage);
    groups->writeGroupfile();
    EXPECT_EQ(readFile(groupsPath()), garbage);

    auto latin1 = read("\xE9" "quipe: alice \n");
    EXPECT_EQ(latin1->list(), (std::vector<std::string>{"\xC3\xA9" "quipe"}));
    latin1->addNewGroup("staff");
    EXPECT_FALSE(latin1->writeGroupfile());
    EXPECT_EQ(readFile(groupsPath()), "\xE9" "quipe: alice \n");
}

TEST_F(GroupsFileTest, ContainsItemSparesTheGroupBeingEdited)
{
    auto groups = read("Staff: \nops: \n");
    showAllRows(*groups);
    EXPECT_TRUE(groups->containsItem("staff"));
    EXPECT_FALSE(groups->containsItem("web"));
    view.editingRow = 0;
    EXPECT_FALSE(groups->containsItem("STAFF"));
    EXPECT_TRUE(groups->containsItem("OPS"));
    EXPECT_TRUE(groups->validateText(view, "STAFF"));
    EXPECT_FALSE(groups->validateText(view, "Ops"));
    EXPECT_FALSE(groups->validateText(view, "   "));
    EXPECT_FALSE(groups->validateText(view, "web team"));
    EXPECT_FALSE(groups->validateText(view, "web\t"));
    EXPECT_FALSE(groups->validateText(view, "web\xC2\xA0team"));
    EXPECT_TRUE(groups->validateText(view, "web"));
}

TEST_F(GroupsFileTest, RenamingRemovesSeparatorsAndWrites)
{
    auto groups = read("staff: alice \n");
    KLUserItem* staff = groups->rootArray()[0].get();
    groups->setObjectValue(view, "new:staff", "group", staff);
    EXPECT_EQ(staff->value(), "newstaff");
    EXPECT_EQ(readFile(groupsPath()), "newstaff: alice \n");
    EXPECT_TRUE(groups->hasGroup("newstaff"));
    EXPECT_FALSE(groups->hasGroup("staff"));
    // Member names are not edited.
    KLUserItem* alice = (*staff->children())[0].get();
    groups->setObjectValue(view, "mallory", "group", alice);
    EXPECT_EQ(alice->value(), "alice");
    EXPECT_FALSE(groups->shouldEdit(view, "group", alice));
    EXPECT_TRUE(groups->shouldEdit(view, "group", staff));
}

TEST_F(GroupsFileTest, AddNewGroupSortsByTheCaseSetting)
{
    auto groups = read("beta: \nAlpha: \n");
    groups->addNewGroup("gamma");
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"beta", "Alpha", "gamma"}));
    EXPECT_EQ(readFile(groupsPath()), "beta: \nAlpha: \n");
    KLUserDefaults::standardUserDefaults().setBool(true, "Sort Groups");
    groups->addNewGroup("alpha2");
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"Alpha", "alpha2", "beta", "gamma"}));
    KLUserDefaults::standardUserDefaults().setBool(true, "Case Sensitive Compare");
    groups->addNewGroup("Zeta");
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"Alpha", "Zeta", "alpha2", "beta", "gamma"}));
}

// With "Sort Groups" on, the end of a rename sorts by the names as they are
// before the new one is stored: the renamed group moves at the next sort.
TEST_F(GroupsFileTest, EndingARenameSortsByTheOldNames)
{
    auto groups = read("c: \na: \n");
    EXPECT_FALSE(groups->textShouldEndEditing(view, "A"));
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"c", "a"})); // refused: nothing sorted
    KLUserDefaults::standardUserDefaults().setBool(true, "Sort Groups");
    KLUserItem* renamed = groups->rootArray()[0].get(); // "c"
    ASSERT_TRUE(groups->textShouldEndEditing(view, "b"));
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"a", "c"}));
    groups->setObjectValue(view, "b", "group", renamed);
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"a", "b"}));

    KLUserItem* first = groups->rootArray()[0].get(); // "a"
    ASSERT_TRUE(groups->textShouldEndEditing(view, "z"));
    groups->setObjectValue(view, "z", "group", first);
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"z", "b"}));
    ASSERT_TRUE(groups->textShouldEndEditing(view, "y"));
    EXPECT_EQ(groups->list(), (std::vector<std::string>{"b", "z"}));
}

TEST_F(GroupsFileTest, RemovingAUserTakesEveryMembership)
{
    auto groups = read("a: alice alice bob \nb: bob \nc: alice \n");
    groups->removeUserFromGroups(" alice\n");
    EXPECT_EQ(treeOf(*groups->root()), (Tree{{"a", {"bob"}}, {"b", {"bob"}}, {"c", {}}}));
    EXPECT_EQ(readFile(groupsPath()), "a: bob \nb: bob \nc: \n");
    EXPECT_GE(view.reloads, 1);

    int reloads = view.reloads;
    groups->removeUserFromGroups("nobody");
    EXPECT_EQ(view.reloads, reloads);

    // Deleting a group takes its members; the name is no group any more.
    EXPECT_TRUE(groups->deleteRowForItem(view, groups->rootArray()[0].get()));
    EXPECT_EQ(readFile(groupsPath()), "b: bob \nc: \n");
    EXPECT_FALSE(groups->hasGroup("a"));
}

TEST_F(GroupsFileTest, DropsAddUsersToGroupsOnly)
{
    auto groups = read("staff: alice \n");
    KLUserItem* staff = groups->rootArray()[0].get();
    KLItem alice = (*staff->children())[0].get();
    KLPasteboard users;
    users.declareTypes({KLPasteboard::kFendrelUserType, "public.utf8-plain-text"});
    users.setString("bob:(null)", KLPasteboard::kFendrelUserType);
    KLPasteboard text;
    text.declareTypes({"public.utf8-plain-text"});
    text.setString("bob", "public.utf8-plain-text");

    EXPECT_EQ(groups->validateDrop(view, users, staff, -1), KLDragOperation::Copy);
    EXPECT_EQ(groups->validateDrop(view, users, alice, 0), KLDragOperation::None);
    EXPECT_EQ(groups->validateDrop(view, users, nullptr, 0), KLDragOperation::None);
    EXPECT_EQ(groups->validateDrop(view, text, staff, 0), KLDragOperation::None);

    EXPECT_TRUE(groups->acceptDrop(view, users, staff, 0));
    EXPECT_EQ(treeOf(*groups->root()), (Tree{{"staff", {"bob", "alice"}}}));
    EXPECT_EQ(readFile(groupsPath()), "staff: bob alice \n");
    EXPECT_FALSE(groups->acceptDrop(view, users, staff, 2));
    EXPECT_FALSE(groups->acceptDrop(view, users, alice, 0));
    users.setString("carol:(null)", KLPasteboard::kFendrelUserType);
    EXPECT_TRUE(groups->acceptDrop(view, users, staff, 99));
    EXPECT_EQ(readFile(groupsPath()), "staff: bob alice carol \n");
    EXPECT_FALSE(groups->writeItems(view, {staff}, users));

    // Another program's text under the same type cannot break the file's lines.
    for (const char* foreign : {"dave mallory", "eve\nstaff: mallory", ":x", "\t"}) {
        users.setString(foreign, KLPasteboard::kFendrelUserType);
        EXPECT_FALSE(groups->acceptDrop(view, users, staff, 0)) << foreign;
    }
    EXPECT_EQ(readFile(groupsPath()), "staff: bob alice carol \n");
}

TEST_F(GroupsFileTest, CollapsingSelectsTheGroupAndTellsThePane)
{
    auto groups = read("a: alice \nb: bob \n");
    showAllRows(*groups);
    int actions = 0;
    groups->setAction([&] { ++actions; });
    view.selection = {3};
    groups->itemWillCollapse(view, groups->rootArray()[1].get());
    EXPECT_EQ(view.selection, (std::vector<int>{2}));
    EXPECT_EQ(actions, 1);
}

TEST_F(GroupsFileTest, OutlineShape)
{
    auto groups = read("a: alice \nb: \n");
    KLUserItem* a = groups->rootArray()[0].get();
    KLUserItem* b = groups->rootArray()[1].get();
    EXPECT_EQ(groups->numberOfChildren(view, nullptr), 2);
    EXPECT_EQ(groups->child(view, 1, nullptr), b);
    EXPECT_EQ(groups->numberOfChildren(view, a), 1);
    KLItem alice = groups->child(view, 0, a);
    EXPECT_EQ(groups->numberOfChildren(view, alice), 0);
    // An empty group still expands; a member does not.
    EXPECT_TRUE(groups->isItemExpandable(view, b));
    EXPECT_FALSE(groups->isItemExpandable(view, alice));
    EXPECT_FALSE(groups->isItemExpandable(view, nullptr));
    EXPECT_EQ(groups->objectValue(view, "group", alice), KLPlist("alice"));
}

} // namespace
