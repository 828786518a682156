// Files other programs change while the pane is shown, and files it must
// leave alone: too large, no text, or no file at all.
#include "KLPlainRunLoop.h"
#include "PaneFixture.h"

#include <sys/stat.h>

namespace {

class FilesOnDiskTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        KLRunLoop::setMain(loop);
        writeFiles();
        root.mkdir("open");
    }
    void writeFiles()
    {
        root.write(".htusers", "alice:abcdefghijklm\nbob:abcdefghijklm\n");
        root.write(".htgroups", "staff: alice \n");
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
    }
    void TearDown() override
    {
        PaneTest::TearDown();
        KLRunLoop::setMain(nullptr);
    }
    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
};

TEST_F(FilesOnDiskTest, OutsideChangesShowSoonKeepingTheSelection)
{
    wake();
    pref->startWatchingFiles();
    KLFSItem* open = selectFolder("open");
    KLFSItem* selected = selectFolder("private");
    userTable.selectRow(2, false); // bob
    const struct {
        const char* file;
        const char* text; // nullptr removes the file
        std::function<bool()> shown;
    } steps[] = {
        {".htusers", "zoe:abcdefghijklm\nalice:abcdefghijklm\nbob:abcdefghijklm\n",
         [&] { return userNames().size() == 3 && userTable.selection == std::vector<int>{3}; }},
        {".htgroups", "staff: alice \nteam: bob \n", [&] { return pref->groupArray()->size() == 2; }},
        {"private/.htaccess", "Deny from 10.0.0.9\n",
         [&] { return selected->isAddressProtected() && customViewText.text == "Deny from 10.0.0.9\n"; }},
        {"open/.htaccess", "Require valid-user\n", [&] { return open->isPasswordProtected(); }},
        {"open/.htaccess", nullptr, [&] { return !open->isPasswordProtected() && !open->hasAccessFile(); }},
    };
    for (const auto& step : steps) {
        step.text ? void(root.write(step.file, step.text)) : void(std::filesystem::remove(root.file(step.file)));
        // Well within the watcher's period, but a loaded machine is slow.
        EXPECT_TRUE(loop->runUntil(step.shown, 10)) << step.file;
    }
    EXPECT_EQ(pref->selectedItem(), selected);
    EXPECT_TRUE(alerts.shown.empty());

    std::filesystem::remove_all(root.path());
    ASSERT_TRUE(loop->runUntil([&] { return !alerts.shown.empty(); }, 10));
    EXPECT_EQ(alerts.shown[0].title, "The protected folder is gone");
    pref->addUser(nullptr);
    userField.value = "carol", passField.value = confirmField.value = "pw";
    pref->endNewUser(nullptr);
    EXPECT_EQ(alerts.shown.size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(root.path()));
}

// Files no users, groups or access file can be are never written over; the
// change that would write them is told in one alert.
TEST_F(FilesOnDiskTest, UnusableFilesAreLeftAsTheyAre)
{
    const std::string binary("\x7f" "ELF\x02\x01\x01\0\0\0\x03\0>\0", 16);
    const std::uintmax_t huge = (std::uintmax_t{64} << 20) + 1;
    const std::string kinds[] = {"binary", "huge", "pipe"};
    for (const std::string file : {".htusers", ".htgroups", "private/.htaccess"}) {
        for (const std::string& kind : kinds) {
            SCOPED_TRACE(file + " " + kind);
            const std::string path = root.file(file);
            std::filesystem::remove(path);
            if (kind == "binary")
                root.write(file, binary);
            else if (kind == "pipe")
                ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
            else
                std::filesystem::resize_file(root.write(file, ""), huge);
            alerts.shown.clear();
            webDirOutline.selection.clear(); // rows of the last pane's tree
            wake();
            selectFolder("private")->setAuthStatus(KLFSItem::kAddressBit, false);
            pref->didUnselect();
            const std::string reason = kind == "binary" ? "it is not a text file"
                                       : kind == "huge" ? "it is larger than 64 MiB"
                                                        : "it is not a regular file";
            ASSERT_EQ(alerts.shown.size(), 1u);
            EXPECT_EQ(alerts.shown[0].message, path + " was not changed: " + reason + ".");
            if (kind == "pipe")
                EXPECT_EQ(std::filesystem::status(path).type(), std::filesystem::file_type::fifo);
            else if (kind == "binary")
                EXPECT_EQ(readFile(path), binary);
            else
                EXPECT_EQ(std::filesystem::file_size(path), huge);
            std::filesystem::remove(path);
            writeFiles();
        }
    }
}

} // namespace
