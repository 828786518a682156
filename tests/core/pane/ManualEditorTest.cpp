#include "PaneFixture.h"

namespace {

class ManualEditorTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        root.write(".htusers", "alice:abcdefghijklm\n");
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
        sites = std::string(std::getenv("HOME")) + "/Sites";
        std::filesystem::create_directories(sites);
        wake();
        selectFolder("private");
    }
    void TearDown() override
    {
        std::filesystem::remove_all(sites);
        PaneTest::TearDown();
    }
    void edit(const std::string& text) { customViewText.text = text, pref->textDidChange(); }
    std::string file() const { return readFile(root.file("private/.htaccess")); }
    bool saved(const char* text) const { return file().find(text) != std::string::npos; }

    std::string sites;
};

// Reverting once keeps the text and forgets the edit; a second revert reads the file again.
TEST_F(ManualEditorTest, RevertingAndSavingEndTheEdit)
{
    KLFSItem* item = pref->selectedItem();
    std::string original = customViewText.text;
    edit("Deny from all\n");
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, "Deny from all\n");
    EXPECT_FALSE(pref->hasBeenManuallyEdited() || customSaveButton.enabled || customRevertButton.enabled);
    pref->revertCustomEdit(nullptr);
    EXPECT_EQ(customViewText.text, original);

    edit("Require user alice\nAuthType Basic\nOptions -Indexes\n");
    pref->saveCustomEdit(nullptr);
    EXPECT_FALSE(pref->hasBeenManuallyEdited());
    EXPECT_TRUE(saved("Options -Indexes") && saved("Require user alice"));
    EXPECT_EQ(std::pair(customViewText.text, pref->selectedItem()), std::pair(file(), item));
    EXPECT_TRUE(item->isPasswordProtected());
}

// Another program changed the file meanwhile: saving asks, and writes only when told to replace it.
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
        std::ofstream(path) << outside;
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

// The root change waits for the question; Cancel, Don't Save and Save each end it their way.
TEST_F(ManualEditorTest, RootChangeWaitsForTheAnswer)
{
    const struct {
        int code, stored;
        bool moved;
    } answers[] = {{-1, 2, false}, {0, 0, true}, {1, 0, true}};
    for (const auto& a : answers) {
        SCOPED_TRACE(a.code);
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
        defaults().setInteger(2, "Fendrel Protected Folder");
        webDirOutline.selection.clear();
        wake();
        selectFolder("private");
        edit("Require user alice\nAuthType Basic\n# kept\n");
        alerts.shown.clear();
        pref->setWebDirRoot(KLState(0));
        EXPECT_EQ(webDirFolder.selected, 2);
        ASSERT_EQ(alerts.pending.size(), 1u);
        alerts.answer(a.code);
        EXPECT_EQ(std::tuple(defaults().integerForKey("Fendrel Protected Folder"), webDirFolder.selected,
                             pref->files()->rootPath(), pref->hasBeenManuallyEdited(), saved("# kept")),
                  std::tuple(a.stored, a.stored, a.moved ? sites : root.path(), !a.moved, a.code == 1));
        EXPECT_EQ(userNames().empty(), a.moved); // the new root's users file
    }
}

} // namespace
