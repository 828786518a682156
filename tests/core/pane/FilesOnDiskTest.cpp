#include "PaneFixture.h"

#include <sys/stat.h>

namespace {

// Files that cannot be users, groups or access files are never written over; one alert tells why.
TEST_F(PaneTest, UnusableFilesAreLeftAsTheyAre)
{
    auto writeFiles = [&] {
        root.write(".htusers", "alice:abcdefghijklm\nbob:abcdefghijklm\n");
        root.write(".htgroups", "staff: alice \n");
        root.write("private/.htaccess", "Require user alice\nAuthType Basic\n");
    };
    writeFiles();
    const std::string binary("\x7f" "ELF\x02\x01\x01\0\0\0\x03\0>\0", 15);
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
