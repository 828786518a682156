#include "PaneFixture.h"

namespace {

constexpr const char* kQuestion = "Do you want to save manual editor changes?";

class ManualEditorTest : public PaneTest {
protected:
    void SetUp() override {
        PaneTest::SetUp();
        root.write(".htusers", "alice:abcdefghijklm\n");
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
        sites = std::string(std::getenv("HOME")) + "/Sites";
        std::filesystem::create_directories(sites);
        writeFile(sites + "/.htaccess", "# the personal folder\n");
        wake();
        selectFolder("private");
    }
    void TearDown() override {
        std::filesystem::remove_all(sites);
        PaneTest::TearDown();
    }
    static void writeFile(const std::string& path, const std::string& text) {
        std::ofstream(path) << text;
    }
    void edit(const std::string& text) {
        customViewText.text = text;
        pref->textDidChange();
    }

    std::string sites;
};

TEST_F(ManualEditorTest, SelectingShowsTheFileAndEditingEnablesTheButtons) {
    EXPECT_EQ(customViewText.text, readFile(root.file("private/.htaccess")));
    EXPECT_EQ(customViewText.selection, (std::pair<std::size_t, std::size_t>{0, 0}));
    EXPECT_FALSE(customSaveButton.enabled);
    edit("Require valid-user\n");
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
    EXPECT_TRUE(customSaveButton.enabled);
    EXPECT_TRUE(customRevertButton.enabled);

    // Selection is frozen while the edit is pending.
    KLFSItem* chosen = pref->selectedItem();
    selectFolder("");
    EXPECT_EQ(pref->selectedItem(), chosen);
    EXPECT_EQ(customViewText.text, "Require valid-user\n");
}

TEST_F(ManualEditorTest, OpeningFoldersKeepsAPendingEditPending) {
    root.write("late/.htaccess", "Require user alice\n");
    edit("Require valid-user\n");
    // A folder opened now reads its access file and announces it.
    std::shared_ptr<KLFSItem> late = KLFSItem::create(root.file("late"));
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
    EXPECT_TRUE(customSaveButton.enabled);

    KLFSItem* chosen = pref->selectedItem();
    selectFolder("");
    EXPECT_EQ(pref->selectedItem(), chosen);
    EXPECT_EQ(customViewText.text, "Require valid-user\n");
}

TEST_F(ManualEditorTest, RevertingOnceKeepsTheTextAndForgetsTheEdit) {
    std::string original = customViewText.text;
    edit("Deny from all\n");
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, "Deny from all\n");
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
    EXPECT_FALSE(customSaveButton.enabled);
    EXPECT_FALSE(customRevertButton.enabled);
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, original);
}

TEST_F(ManualEditorTest, SavingWritesTheFileThroughTheItem) {
    KLFSItem* item = pref->selectedItem();
    edit("Require user alice\nAuthType Basic\nOptions -Indexes\n");
    pref->saveCustomEdit(nullptr);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
    std::string written = readFile(root.file("private/.htaccess"));
    EXPECT_NE(written.find("Options -Indexes"), std::string::npos);
    EXPECT_NE(written.find("Require user alice"), std::string::npos);
    EXPECT_EQ(customViewText.text, written);
    EXPECT_EQ(pref->selectedItem(), item);
    EXPECT_TRUE(item->isPasswordProtected());
}

// Another program changed the file while it was edited here: saving asks
// first, and writes only when told to replace it.
TEST_F(ManualEditorTest, SavingOverAnOutsideChangeAsksFirst) {
    const std::string path = root.file("private/.htaccess");
    const std::string outside = "Require user alice\nAuthType Basic\n# by hand\n";
    struct Answer {
        int code; // Replace, Reload, Cancel
        bool written, stillEdited;
    };
    for (Answer a : {Answer{-1, false, true}, Answer{1, true, false}, Answer{0, false, false}}) {
        SCOPED_TRACE(a.code);
        edit("Require user alice\nAuthType Basic\nOptions -Indexes\n");
        writeFile(path, outside);
        alerts.shown.clear();
        pref->saveCustomEdit(nullptr);
        ASSERT_EQ(alerts.shown.size(), 1u);
        EXPECT_EQ(alerts.shown[0].title, "The access file was changed by another program");
        EXPECT_EQ(readFile(path), outside);
        alerts.answer(a.code);
        EXPECT_EQ(readFile(path).find("Options -Indexes") != std::string::npos, a.written);
        EXPECT_EQ(readFile(path).find("# by hand") != std::string::npos, !a.written);
        EXPECT_EQ(pref->hasBeenManuallyEdited(), a.stillEdited);
        EXPECT_EQ(customViewText.text.find("Options") != std::string::npos, a.stillEdited || a.written);
        EXPECT_EQ(customViewText.text == readFile(path), !a.stillEdited);
    }
}

TEST_F(ManualEditorTest, RootChangeHeldBackThenCancelledChangesNothing) {
    edit("Require valid-user\n");
    pref->setWebDirRoot(KLState(0));
    EXPECT_EQ(webDirFolder.selected, 2);
    ASSERT_EQ(alerts.pending.size(), 1u);
    EXPECT_EQ(alerts.shown[0].title, kQuestion);
    EXPECT_EQ(alerts.shown[0].message,
              "If you do not save your manual editor changes, they will be lost when performing this action");
    EXPECT_EQ(alerts.shown[0].defaultButton, "Save");
    EXPECT_EQ(alerts.shown[0].alternateButton, "Don't Save");
    EXPECT_EQ(alerts.shown[0].otherButton, "Cancel");

    alerts.answer(-1);
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 2);
    EXPECT_EQ(webDirFolder.selected, 2);
    EXPECT_EQ(pref->files()->rootPath(), root.path());
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
    EXPECT_EQ(readFile(root.file("private/.htaccess")), "Require user alice\nAuthType Basic\n");
}

TEST_F(ManualEditorTest, RootChangeNotSavedTakesTheNewRootAndDropsTheEdit) {
    edit("Require valid-user\n");
    pref->setWebDirRoot(KLState(0));
    alerts.answer(0);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 0);
    EXPECT_EQ(webDirFolder.selected, 0);
    EXPECT_EQ(pref->files()->rootPath(), sites);
    EXPECT_EQ(readFile(root.file("private/.htaccess")), "Require user alice\nAuthType Basic\n");
    EXPECT_TRUE(userNames().empty()); // the new root's users file

    showTree();
    webDirOutline.selectRow(0, false);
    pref->webOutlineClick(nullptr);
    EXPECT_EQ(customViewText.text, "# the personal folder\n");
}

TEST_F(ManualEditorTest, RootChangeSavedWritesFirstThenMoves) {
    edit("Require user alice\nAuthType Basic\n# kept\n");
    pref->setWebDirRoot(KLState(0));
    alerts.answer(1);
    EXPECT_NE(readFile(root.file("private/.htaccess")).find("# kept"), std::string::npos);
    EXPECT_EQ(defaults().integerForKey("Fendrel Protected Folder"), 0);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
}

TEST_F(ManualEditorTest, LeavingWithEditsAsksAndTheHostHearsTheAnswer) {
    std::vector<bool> replies;
    pref->setUnselectReplyHandler([&](bool leave) { replies.push_back(leave); });
    edit("Require user alice\nAuthType Basic\n# leaving\n");

    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Later);
    alerts.answer(-1);
    EXPECT_EQ(replies, std::vector<bool>{false});
    EXPECT_TRUE(pref->hasBeenManuallyEdited());
    EXPECT_EQ(readFile(root.file("private/.htaccess")).find("# leaving"), std::string::npos);

    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Later);
    alerts.answer(1);
    EXPECT_EQ(replies, (std::vector<bool>{false, true}));
    EXPECT_NE(readFile(root.file("private/.htaccess")).find("# leaving"), std::string::npos);
    EXPECT_EQ(pref->shouldUnselect(), KLUnselectReply::Now);
}

TEST_F(ManualEditorTest, ErrorReturnAndOddCodesRunNothing) {
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

TEST_F(ManualEditorTest, OtherActionsHoldThemselvesBack) {
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
    EXPECT_EQ(readFile(root.file("private/.htaccess")), "Require user alice\nAuthType Basic\n");
    alerts.answer(0); // custom folders off
    EXPECT_FALSE(defaults().boolForKey("Allow Custom Web Dir"));
}

TEST_F(ManualEditorTest, TabSwitchingNeverAsks) {
    edit("x\n");
    EXPECT_TRUE(pref->shouldSelectTabViewItem(&userAddressTabs, "users"));
    EXPECT_TRUE(alerts.shown.empty());
}

} // namespace
