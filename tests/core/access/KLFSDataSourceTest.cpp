#include "KLFSDataSource.h"

#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "KLPlainRunLoop.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <unistd.h>

namespace {

class DataSourceTest : public ::testing::Test
{
protected:
    DataSourceTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice"};
        pane.addressList = {KLPlist("10.0.0.1")};
        KLRunLoop::setMain(loop);
    }
    ~DataSourceTest() override { KLRunLoop::setMain(nullptr); }

    KLFSItem* childNamed(KLFSItem* parent, const std::string& name)
    {
        for (KLFSItem* child : parent->children()) {
            if (child->relativePath() == name)
                return child;
        }
        return nullptr;
    }

    std::vector<std::string> childNames(KLFSItem* parent)
    {
        std::vector<std::string> out;
        for (KLFSItem* child : parent->children())
            out.push_back(child->relativePath());
        std::sort(out.begin(), out.end());
        return out;
    }

    TempDir dir;
    FakePaneContext pane;
    FakeListView outline{"webDirOutline"};
    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
};

TEST_F(DataSourceTest, EmptyRootIsOneRowWithoutDisclosure)
{
    KLFSDataSource source(dir.mkdir("empty"));
    EXPECT_EQ(source.numberOfChildren(outline, nullptr), 1);
    KLItem root = source.child(outline, 0, nullptr);
    EXPECT_EQ(root, source.rootItem());
    EXPECT_FALSE(source.isItemExpandable(outline, root));
    EXPECT_EQ(source.numberOfChildren(outline, root), -1);
    EXPECT_EQ(source.objectValue(outline, KLFSDataSource::kDirColumn, root), KLPlist("empty"));
    EXPECT_EQ(source.rootPath(), dir.path() + "/empty");
}

TEST_F(DataSourceTest, ListsSubFoldersHiddenOnesAndLinksToFolders)
{
    dir.write("root/file.html", "x");
    dir.write("root/.hidden/.htaccess", "Require user alice\n");
    dir.write("root/plain/index.html", "x");
    dir.write("elsewhere/.htaccess", "Deny from 10.0.0.1\n");
    dir.write("only-files/a.txt", "x");
    ASSERT_EQ(::symlink((dir.path() + "/elsewhere").c_str(), (dir.path() + "/root/linked").c_str()), 0);
    ASSERT_EQ(::symlink((dir.path() + "/root/file.html").c_str(), (dir.path() + "/root/file-link").c_str()), 0);
    ASSERT_EQ(::symlink("/nonexistent/target", (dir.path() + "/root/dangling").c_str()), 0);

    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* root = source.rootItem();
    EXPECT_EQ(childNames(root), (std::vector<std::string>{".hidden", "linked", "plain"}));
    EXPECT_TRUE(source.isItemExpandable(outline, root));
    EXPECT_TRUE(childNamed(root, ".hidden")->isPasswordProtected());
    KLFSItem* linked = childNamed(root, "linked");
    EXPECT_TRUE(linked->isAddressProtected()) << "the access file behind the link is read";
    EXPECT_EQ(linked->fullPath(), dir.path() + "/root/linked");
    EXPECT_EQ(linked->parent().get(), root);
    EXPECT_FALSE(source.isItemExpandable(outline, childNamed(root, "plain")));

    KLFSDataSource files(dir.path() + "/only-files");
    EXPECT_EQ(files.rootItem()->numberOfChildren(), -1);
    KLFSDataSource missing(dir.path() + "/missing");
    EXPECT_EQ(missing.rootItem()->numberOfChildren(), -1);
}

TEST_F(DataSourceTest, ModeValuesAndPopUpSelection)
{
    dir.write("root/both-all/.htaccess", "Require user alice\nDeny from 10.0.0.1\n");
    dir.write("root/both-any/.htaccess", "Require user alice\nDeny from 10.0.0.1\nSatisfy any\n");
    dir.write("root/off/.htaccess", "#Require user alice\n");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* root = source.rootItem();

    auto value = [&](const char* name) {
        return source.objectValue(outline, KLFSDataSource::kProtectColumn, childNamed(root, name)).integerReading();
    };
    auto popUp = [&](const char* name) {
        KLCell cell;
        source.willDisplayCell(outline, cell, KLFSDataSource::kProtectColumn, childNamed(root, name));
        EXPECT_EQ(cell.menuItems, KLFSDataSource::modeNames());
        return cell.selectedIndex;
    };
    EXPECT_EQ(value("both-all"), 4);
    EXPECT_EQ(value("both-any"), 3);
    EXPECT_EQ(popUp("both-all"), 4);
    EXPECT_EQ(popUp("both-any"), 3);
    EXPECT_EQ(value("off"), 0);
    EXPECT_EQ(popUp("off"), 0);
    // Disabled with stored status 5 (kept in memory, as the folder cannot
    // take a file): the value says off, the pop-up says password.
    KLFSDataSource gone(dir.path() + "/gone");
    gone.rootItem()->setAuthStatus(5, true);
    EXPECT_EQ(gone.objectValue(outline, KLFSDataSource::kProtectColumn, gone.rootItem()), KLPlist(0));
    KLCell cell;
    gone.willDisplayCell(outline, cell, KLFSDataSource::kProtectColumn, gone.rootItem());
    EXPECT_EQ(cell.selectedIndex, 1);

    EXPECT_FALSE(source.shouldEdit(outline, KLFSDataSource::kDirColumn, childNamed(root, "off")));
    EXPECT_TRUE(source.shouldEdit(outline, KLFSDataSource::kProtectColumn, childNamed(root, "off")));
    EXPECT_FALSE(source.shouldEdit(outline, KLFSDataSource::kProtectColumn, childNamed(root, "both-any")));
}

TEST_F(DataSourceTest, DeleteButtonOnlyForFoldersWithAnAccessFile)
{
    dir.write("root/protected/.htaccess", "Require user alice\n");
    dir.mkdir("root/open");
    KLFSDataSource source(dir.path() + "/root");
    KLCell withFile;
    source.willDisplayCell(outline, withFile, KLFSDataSource::kDeleteColumn, childNamed(source.rootItem(), "protected"));
    KLCell withoutFile;
    withoutFile.imageName = "stale";
    source.willDisplayCell(outline, withoutFile, KLFSDataSource::kDeleteColumn, childNamed(source.rootItem(), "open"));
    EXPECT_TRUE(withFile.enabled);
    EXPECT_FALSE(withoutFile.enabled);
    EXPECT_EQ(withoutFile.imageName, "");

    KLCell icon;
    source.willDisplayCell(outline, icon, KLFSDataSource::kDirColumn, childNamed(source.rootItem(), "open"));
    EXPECT_EQ(icon.iconFile, dir.path() + "/root/open");
}

TEST_F(DataSourceTest, ChoosingModesWritesTheFileAndTellsThePane)
{
    dir.mkdir("root/private");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* item = childNamed(source.rootItem(), "private");
    item->authDict()[KLFSItem::kRequireUser] = KLPlist::stringArray({"alice"});

    source.setObjectValue(outline, 1, KLFSDataSource::kProtectColumn, item);
    EXPECT_TRUE(item->isPasswordProtected());
    EXPECT_NE(readFile(item->accessPath()).find("\nRequire user alice\n"), std::string::npos);
    EXPECT_EQ(outline.reloadedItems, (std::vector<KLItem>{item}));
    EXPECT_EQ(pane.outlineClicks, (std::vector<void*>{nullptr}));

    source.setObjectValue(outline, 0, KLFSDataSource::kProtectColumn, item);
    EXPECT_TRUE(item->isAuthenticationDisabled());
    std::string off = readFile(item->accessPath());
    EXPECT_NE(off.find("\n#Require user alice\n"), std::string::npos);
    EXPECT_NE(off.find("\n#AuthType Basic\n"), std::string::npos);

    source.setObjectValue(outline, 1, KLFSDataSource::kProtectColumn, item);
    EXPECT_NE(readFile(item->accessPath()).find("\nRequire user alice\n"), std::string::npos);

    source.setObjectValue(outline, 4, KLFSDataSource::kProtectColumn, item);
    EXPECT_EQ(item->authStatus(), 7);
    source.setObjectValue(outline, 3, KLFSDataSource::kProtectColumn, item);
    EXPECT_EQ(item->authStatus(), 3);

    // Other columns and unknown indexes change nothing.
    std::string before = readFile(item->accessPath());
    source.setObjectValue(outline, 2, KLFSDataSource::kDirColumn, item);
    source.setObjectValue(outline, 9, KLFSDataSource::kProtectColumn, item);
    EXPECT_EQ(readFile(item->accessPath()), before);
    EXPECT_EQ(pane.outlineClicks.size(), 5u);
}

TEST_F(DataSourceTest, PendingManualEditsHoldBackModeChangesAndSelections)
{
    dir.mkdir("root/private");
    KLFSDataSource source(dir.path() + "/root");
    KLFSItem* item = childNamed(source.rootItem(), "private");
    outline.rows = {source.rootItem(), item};
    pane.manuallyEdited = true;

    source.setObjectValue(outline, 2, KLFSDataSource::kProtectColumn, item);
    EXPECT_FALSE(item->hasAccessFile());
    ASSERT_EQ(pane.heldBack.size(), 1u);
    EXPECT_EQ(pane.heldBack[0].selector(), "outlineView:setObjectValue:forTableColumn:byItem:");

    EXPECT_FALSE(source.shouldSelectItem(outline, item));
    ASSERT_EQ(pane.heldBack.size(), 2u);

    // The user answered: the editor's text is saved or dropped, then replay.
    pane.manuallyEdited = false;
    pane.heldBack[0].invoke();
    EXPECT_TRUE(item->isAddressProtected());
    pane.heldBack[1].invoke();
    EXPECT_EQ(outline.selection, (std::vector<int>{1}));
    EXPECT_TRUE(source.shouldSelectItem(outline, item));
}

TEST_F(DataSourceTest, HeldBackCallOutlivingItsSourceDoesNothing)
{
    dir.mkdir("root/private");
    pane.manuallyEdited = true;
    std::weak_ptr<KLFSItem> watched;
    {
        KLFSDataSource source(dir.path() + "/root");
        KLFSItem* item = childNamed(source.rootItem(), "private");
        watched = item->shared();
        source.setObjectValue(outline, 1, KLFSDataSource::kProtectColumn, item);
    }
    EXPECT_FALSE(watched.expired()) << "the held-back call keeps its item";
    pane.manuallyEdited = false;
    pane.heldBack.at(0).invoke();
    EXPECT_FALSE(watched.lock()->hasAccessFile());
    pane.heldBack.clear();
    EXPECT_TRUE(watched.expired()) << "and nothing more";
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

    // A source destroyed before its timer fires is not called back.
    outline.expanded.clear();
    {
        KLFSDataSource other(dir.path() + "/root");
        other.objectValue(outline, KLFSDataSource::kDeleteColumn, other.rootItem());
    }
    loop->runPending();
    EXPECT_EQ(outline.redraws, 1);
}

TEST_F(DataSourceTest, KeyboardSelectionActsLikeAClick)
{
    KLFSDataSource source(dir.mkdir("root"));
    source.selectionDidChange(outline);
    EXPECT_EQ(pane.outlineClicks, (std::vector<void*>{&outline}));
}

} // namespace
