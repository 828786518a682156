#include "PaneFixture.h"

namespace {

constexpr const char* kQuestion = "Do you want to save manual editor changes?";

class ManualEditorTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        root.write(".htusers", "alice:abcdefghijklm\n");
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
        sites = std::string(std::getenv("HOME")) + "/Sites";
        std::filesystem::create_directories(sites);
        writeFile(sites + "/.htaccess", "# the personal folder\n");
        wake();
        selectFolder("private");
    }
    void TearDown() override
    {
        std::filesystem::remove_all(sites);
        PaneTest::TearDown();
    }
    static void writeFile(const std::string& path, const std::string& text) { std::ofstream(path) << text; }
    void edit(const std::string& text) { customViewText.text = text, pref->textDidChange(); }
    std::string file() const { return readFile(root.file("private/.htaccess")); }
    bool saved(const char* text) const { return file().find(text) != std::string::npos; }

    std::string sites;
};

TEST_F(ManualEditorTest, SelectingShowsTheFileAndAPendingEditHoldsTheSelection)
{
    EXPECT_EQ(customViewText.text, file());
    EXPECT_EQ(customViewText.selection, (std::pair<std::size_t, std::size_t>{0, 0}));
    EXPECT_FALSE(customSaveButton.enabled);
    edit("Require valid-user\n");
    EXPECT_EQ(std::tuple(pref->hasBeenManuallyEdited(), customSaveButton.enabled, customRevertButton.enabled),
              std::tuple(true, true, true));

    // A folder opened now reads its access file and announces it; the edit stays pending.
    root.write("late/.htaccess", "Require user alice\n");
    std::shared_ptr<KLFSItem> late = KLFSItem::create(root.file("late"));
    EXPECT_TRUE(pref->hasBeenManuallyEdited() && customSaveButton.enabled);
    // Selection is frozen while the edit is pending.
    KLFSItem* chosen = pref->selectedItem();
    selectFolder("");
    EXPECT_EQ(pref->selectedItem(), chosen);
    EXPECT_EQ(customViewText.text, "Require valid-user\n");
}

TEST_F(ManualEditorTest, RevertingOnceKeepsTheTextAndForgetsTheEdit)
{
    std::string original = customViewText.text;
    edit("Deny from all\n");
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, "Deny from all\n");
    EXPECT_FALSE(pref->hasBeenManuallyEdited() || customSaveButton.enabled || customRevertButton.enabled);
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, original);
}

TEST_F(ManualEditorTest, SavingWritesTheFileThroughTheItem)
{
    KLFSItem* item = pref->selectedItem();
    edit("Require user alice\nAuthType Basic\nOptions -Indexes\n");
    pref->saveCustomEdit(nullptr);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
    EXPECT_TRUE(saved("Options -Indexes") && saved("Require user alice"));
    EXPECT_EQ(customViewText.text, file());
    EXPECT_EQ(pref->selectedItem(), item);
    EXPECT_TRUE(item->isPasswordProtected());
}

// Another program changed the file while it was edited here: saving asks
// first, and writes only when told to replace it.
TEST_F(ManualEditorTest, SavingOverAnOutsideChangeAsksFirst)
{
    const std::string path = root.file("private/.htaccess");
    const std::string outside = "Require user alice\nAuthType Basic\n# by hand\n";
    const struct {
        int code; // Replace, Reload, Cancel
        bool written, stillEdited;
    } answers[] = {{-1, false, true}, {1, true, false}, {0, false, false}};
    for (const auto& a : answers) {
        SCOPED_TRACE(a.code);
        edit("Require user alice\nAuthType Basic\nOptions -Indexes\n");
        writeFile(path, outside);
        alerts.shown.clear();
        pref->saveCustomEdit(nullptr);
        ASSERT_EQ(alerts.shown.size(), 1u);
        EXPECT_EQ(alerts.shown[0].title, "The access file was changed by another program");
        EXPECT_EQ(readFile(path), outside);
        alerts.answer(a.code);
        EXPECT_EQ(std::pair(saved("Options -Indexes"), saved("# by hand")), std::pair(a.written, !a.written));
        EXPECT_EQ(pref->hasBeenManuallyEdited(), a.stillEdited);
        EXPECT_EQ(customViewText.text.find("Options") != std::string::npos, a.stillEdited || a.written);
        EXPECT_EQ(customViewText.text == readFile(path), !a.stillEdited);
    }
}

TEST_F(ManualEditorTest, RootChangeHeldBackThenCancelledChangesNothing)
{
    edit("Require valid-user\n");
    pref->setWebDirRoot(KLState(0));
    EXPECT_EQ(webDirFolder.selected, 2);
    ASSERT_EQ(alerts.pending.size(), 1u);
    const KLAlert& a = alerts.shown[0];
    EXPECT_EQ(std::tuple(a.title, a.message, a.defaultButton, a.alternateButton, a.otherButton),
              std::tuple(kQuestion,
                         "If you do not save your manual editor changes, they will be lost when performing this action",
                         "Save", "Don't Save", "Cancel"));

    alerts.answer(-1);
    EXPECT_EQ(std::tuple(defaults().integerForKey("Fendrel Protected Folder"), webDirFolder.selected,
                         pref->files()->rootPath(), pref->hasBeenManuallyEdited(), file()),
              std::tuple(2, 2, root.path(), true, "Require user alice\nAuthType Basic\n"));
}

TEST_F(ManualEditorTest, RootChangeNotSavedTakesTheNewRootAndDropsTheEdit)
{
    edit("Require valid-user\n");
    pref->setWebDirRoot(KLState(0));
    alerts.answer(0);
    EXPECT_EQ(std::tuple(defaults().integerForKey("Fendrel Protected Folder"), webDirFolder.selected,
                         pref->files()->rootPath(), pref->hasBeenManuallyEdited(), file()),
              std::tuple(0, 0, sites, false, "Require user alice\nAuthType Basic\n"));
    EXPECT_TRUE(userNames().empty()); // the new root's users file

    showTree();
    webDirOutline.selectRow(0, false);
    pref->webOutlineClick(nullptr);
    EXPECT_EQ(customViewText.text, "# the personal folder\n");
}

TEST_F(ManualEditorTest, RootChangeSavedWritesFirstThenMoves)
{
    edit("Require user alice\nAuthType Basic\n# kept\n");
    pref->setWebDirRoot(KLState(0));
    alerts.answer(1);
    EXPECT_TRUE(saved("# kept"));
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 0);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
}

TEST_F(ManualEditorTest, LeavingWithEditsAsksAndTheHostHearsTheAnswer)
{
    std::vector<bool> replies;
    pref->setUnselectReplyHandler([&](bool leave) { replies.push_back(leave); });
    edit("Require user alice\nAuthType Basic\n# leaving\n");

    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Later);
    alerts.answer(-1);
    EXPECT_EQ(replies, std::vector<bool>{false});
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
    EXPECT_FALSE(saved("# leaving"));

    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Later);
    alerts.answer(1);
    EXPECT_EQ(replies, (std::vector<bool>{false, true}));
    EXPECT_TRUE(saved("# leaving"));
    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Now);
}

TEST_F(ManualEditorTest, ErrorReturnAndOddCodesRunNothing)
{
    std::vector<bool> replies;
    pref->setUnselectReplyHandler([&](bool leave) { replies.push_back(leave); });
    edit("x\n");
    pref->shouldUnselect();
    alerts.answer(-2);
    EXPECT_EQ(log.back(), "An error occurred in 'manualEditorSheetDidEnd:returnCode:contextInfo:'");
    pref->shouldUnselect();
    alerts.answer(5);
    EXPECT_TRUE(replies.empty());
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
}

TEST_F(ManualEditorTest, OtherActionsHoldThemselvesBack)
{
    edit("x\n");
    pref->setManualEditVisible(KLState(0));
    EXPECT_EQ(manualEditCheck.stateValue, 1);
    pref->webRefresh(nullptr);
    ASSERT_FALSE(pref->selectedItem()->isAllowSet());
    addressMode.selectedRowValue = 0;
    pref->changeAddressMode(&addressMode);
    // A custom root in use: turning custom folders off waits as well.
    pref->setCustomWebDirAllowed(KLState(0));
    EXPECT_EQ(customDirCheck.stateValue, 1);
    ASSERT_EQ(alerts.pending.size(), 4u);
    EXPECT_EQ(addressMode.selectedRowValue, 0); // left as the user set it
    EXPECT_TRUE(defaults().boolForKey("Allow Custom Web Dir"));

    // The mode change waits as "hide the editor", not as itself.
    defaults().setBool(true, "Show Manual Editor");
    alerts.answer(-1); // hide: dropped
    alerts.answer(-1); // refresh: dropped
    alerts.answer(0);  // mode change: the editor is hidden
    EXPECT_FALSE(defaults().boolForKey("Show Manual Editor"));
    EXPECT_FALSE(pref->selectedItem()->isAllowSet());
    EXPECT_EQ(file(), "Require user alice\nAuthType Basic\n");
    alerts.answer(0); // custom folders off
    EXPECT_FALSE(defaults().boolForKey("Allow Custom Web Dir"));
}

TEST_F(ManualEditorTest, TabSwitchingNeverAsks)
{
    edit("x\n");
    EXPECT_TRUE(pref->shouldSelectTabViewItem(&userAddressTabs, "users") && alerts.shown.empty());
}

} // namespace
