#include "KLFSDataSource.h"

#include "AccessFixture.h"
#include "FakeOutlets.h"
#include "KLPlainRunLoop.h"

#include <algorithm>
#include <unistd.h>

namespace {

class DataSourceTest : public AccessTest
{
protected:
    DataSourceTest() { KLRunLoop::setMain(loop); }
    ~DataSourceTest() override { KLRunLoop::setMain(nullptr); }

    static KLFSItem* childNamed(KLFSItem* parent, const std::string& name)
    {
        auto children = parent->children();
        auto found = std::find_if(children.begin(), children.end(), [&](KLFSItem* c) { return c->relativePath() == name; });
        return found == children.end() ? nullptr : *found;
    }
    void link(const std::string& target, const std::string& name) { ASSERT_EQ(::symlink(target.c_str(), dir.file(name).c_str()), 0); }
    KLCell cell(KLFSDataSource& source, const std::string& column, KLItem item)
    {
        KLCell shown;
        shown.imageName = "stale";
        source.willDisplayCell(outline, shown, column, item);
        return shown;
    }

    FakeListView outline{"webDirOutline"};
    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
};

TEST_F(DataSourceTest, ListsSubFoldersHiddenOnesAndLinksToFolders)
{
    KLFSDataSource empty(dir.mkdir("empty"));
    EXPECT_EQ(empty.numberOfChildren(outline, nullptr), 1);
    KLItem top = empty.child(outline, 0, nullptr);
    EXPECT_EQ(std::tuple(top, empty.isItemExpandable(outline, top), empty.numberOfChildren(outline, top)),
              std::tuple(KLItem(empty.rootItem()), false, -1));
    EXPECT_EQ(empty.objectValue(outline, KLFSDataSource::kDirColumn, top), KLPlist("empty"));

    dir.write("root/file.html", "x");
    dir.write("root/.hidden/.htaccess", "Require user alice\n");
    dir.write("root/plain/index.html", "x");
    dir.write("elsewhere/.htaccess", "Deny from 10.0.0.1\n");
    dir.write("only-files/a.txt", "x");
    link(dir.path() + "/elsewhere", "root/linked");
    link(dir.path() + "/root/file.html", "root/file-link");
    link("/nonexistent/target", "root/dangling");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* root = source.rootItem();
    std::vector<std::string> children;
    for (KLFSItem* child : root->children())
        children.push_back(child->relativePath());
    std::sort(children.begin(), children.end());
    EXPECT_EQ(children, (std::vector<std::string>{".hidden", "linked", "plain"}));
    EXPECT_TRUE(source.isItemExpandable(outline, root) && childNamed(root, ".hidden")->isPasswordProtected());
    KLFSItem* linked = childNamed(root, "linked");
    EXPECT_TRUE(linked->isAddressProtected()) << "the access file behind the link is read";
    EXPECT_EQ(std::pair(linked->fullPath(), linked->parent().get()), std::pair(dir.path() + "/root/linked", root));
    EXPECT_FALSE(source.isItemExpandable(outline, childNamed(root, "plain")));
    for (const char* leaf : {"/only-files", "/missing"})
        EXPECT_EQ(KLFSDataSource(dir.path() + leaf).rootItem()->numberOfChildren(), -1) << leaf;
}

TEST_F(DataSourceTest, CellsShowTheModeTheDeleteButtonAndTheIcon)
{
    dir.write("root/both-all/.htaccess", "Require user alice\nDeny from 10.0.0.1\n");
    dir.write("root/both-any/.htaccess", "Require user alice\nDeny from 10.0.0.1\nSatisfy any\n");
    dir.write("root/off/.htaccess", "#Require user alice\n");
    dir.mkdir("root/open");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* root = source.rootItem();
    // folder, value, pop-up selection, editable, delete button on
    const std::tuple<const char*, std::int64_t, int, bool, bool> cases[] = {
        {"both-all", 4, 4, false, true}, {"both-any", 3, 3, false, true}, {"off", 0, 0, true, true},
        {"open", 0, 0, true, false}};
    for (auto [name, value, selected, editable, deletable] : cases) {
        SCOPED_TRACE(name);
        KLFSItem* item = childNamed(root, name);
        EXPECT_EQ(source.objectValue(outline, KLFSDataSource::kProtectColumn, item).integerReading(), value);
        KLCell popUp = cell(source, KLFSDataSource::kProtectColumn, item);
        EXPECT_EQ(std::pair(popUp.menuItems, popUp.selectedIndex), std::pair(KLFSDataSource::modeNames(), selected));
        EXPECT_EQ(std::pair(source.shouldEdit(outline, KLFSDataSource::kProtectColumn, item),
                            source.shouldEdit(outline, KLFSDataSource::kDirColumn, item)),
                  std::pair(editable, false));
        KLCell button = cell(source, KLFSDataSource::kDeleteColumn, item);
        EXPECT_EQ(std::pair(button.enabled, button.imageName), std::pair(deletable, std::string(deletable ? "delete_idle" : "")));
    }
    EXPECT_EQ(cell(source, KLFSDataSource::kDirColumn, childNamed(root, "open")).iconFile, dir.path() + "/root/open");
    // Disabled with status 5 kept in memory: the value says off, the pop-up password.
    KLFSDataSource gone(dir.path() + "/gone");
    gone.rootItem()->setAuthStatus(5, true);
    EXPECT_EQ(gone.objectValue(outline, KLFSDataSource::kProtectColumn, gone.rootItem()), KLPlist(0));
    EXPECT_EQ(cell(gone, KLFSDataSource::kProtectColumn, gone.rootItem()).selectedIndex, 1);
}

TEST_F(DataSourceTest, ChoosingModesWritesTheFileAndTellsThePaneOnceManualEditsAreAnswered)
{
    dir.mkdir("root/private");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* item = childNamed(source.rootItem(), "private");
    item->authDict()[KLFSItem::kRequireUser] = KLPlist::stringArray({"alice"});
    auto choose = [&](int index, const std::string& column = KLFSDataSource::kProtectColumn) {
        source.setObjectValue(outline, index, column, item);
        return readFile(item->accessPath());
    };
    EXPECT_NE(choose(1).find("\nRequire user alice\n"), std::string::npos);
    EXPECT_EQ(outline.reloadedItems, (std::vector<KLItem>{item}));
    EXPECT_EQ(pane.outlineClicks, (std::vector<void*>{nullptr}));
    choose(0);
    EXPECT_EQ(item->authStatus(), 0);
    choose(4);
    EXPECT_EQ(item->authStatus(), 7);
    std::string before = choose(3);
    EXPECT_EQ(stateOf(*item), "3 password address allow | Allow from: | Deny from: | Require group: | Require user: alice");
    // Other columns and unknown indexes change nothing.
    EXPECT_EQ(choose(2, KLFSDataSource::kDirColumn), before);
    EXPECT_EQ(choose(9), before);
    EXPECT_EQ(pane.outlineClicks.size(), 4u);

    // Keyboard selection acts like a click.
    source.selectionDidChange(outline);
    EXPECT_EQ(pane.outlineClicks.back(), &outline);

    // Pending manual edits hold a mode change back until the user has answered.
    pane.manuallyEdited = true;
    EXPECT_EQ(choose(2), before);
    ASSERT_EQ(pane.heldBack.size(), 1u);
    EXPECT_EQ(pane.heldBack[0].selector(), "outlineView:setObjectValue:forTableColumn:byItem:");
    pane.manuallyEdited = false;
    pane.heldBack[0].invoke();
    EXPECT_EQ(item->authStatus(), 2);
}

TEST_F(DataSourceTest, ExpandedFoldersOpenAgainAfterARebuild)
{
    dir.mkdir("root/a/b");
    KLFSDataSource source(dir.path() + "/root");
    source.itemWillExpand(outline, source.rootItem());
    source.itemWillExpand(outline, childNamed(source.rootItem(), "a"));
    source.itemWillCollapse(outline, childNamed(source.rootItem(), "a"));

    source.setRootPath(dir.path() + "/root");
    KLFSItem* root = source.rootItem();
    EXPECT_EQ(source.objectValue(outline, KLFSDataSource::kDeleteColumn, root), KLPlist(""));
    EXPECT_TRUE(outline.isItemExpanded(root));
    EXPECT_EQ(outline.redraws, 0) << "redrawn after the current pass, not during it";
    loop->runPending();
    EXPECT_EQ(outline.redraws, 1);
    EXPECT_NE(root->description().find("Expanded? YES"), std::string::npos);
    source.objectValue(outline, KLFSDataSource::kDeleteColumn, childNamed(root, "a"));
    EXPECT_FALSE(outline.isItemExpanded(childNamed(root, "a")));
}

} // namespace
