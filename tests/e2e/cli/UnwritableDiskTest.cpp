#include "CliFixture.h"

#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using UnwritableDiskTest = CliFixture;

// A full disk and a read-only file system, on a small file system of this test's own (root only, in a mount
// namespace of this process): each command that writes a file fails with the reason in one line, and no file
// changes.
TEST_F(UnwritableDiskTest, AFullDiskOrAReadOnlyFileSystemChangesNothing)
{
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
        GTEST_SKIP() << "needs root to mount a file system of its own";
    ASSERT_EQ(::mount("tmpfs", root.c_str(), "tmpfs", 0, "size=256k"), 0);
    tree.mkdir("private");
    addUser("alice");
    run({{{"group", "add", "staff"}}, {{"protect", "private", "password"}}});
    std::ofstream(file("filler")) << std::string(512 * 1024, 'x'); // more than the disk holds
    for (const std::string reason : {"No space left on device", "Read-only file system"}) {
        if (reason[0] == 'R') {
            std::filesystem::remove(file("filler"));
            ASSERT_EQ(::mount(nullptr, root.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        }
        auto contents = [this] { return std::vector{text(".htusers"), text(".htgroups"), text("private/.htaccess")}; };
        const std::vector<std::string> before = contents();
        run({{{"user", "add", "bob"}, 1, file(".htusers") + " was not changed: " + reason + ".", "", "pw\n"},
             {{"group", "add", "team"}, 1, file(".htgroups") + " was not changed: " + reason + "."},
             {{"protect", "private", "address"}, 1, file("private/.htaccess") + " was not changed: " + reason + "."}});
        EXPECT_EQ(contents(), before) << reason;
    }
    ::umount2(root.c_str(), MNT_DETACH);
}
