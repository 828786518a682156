#include "CliFixture.h"

#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

// A full disk and a read-only file system, on a small file system of this test's own (root only, in a mount
// namespace of this process): each command that writes a file fails with the reason in one line, and no file
// changes.
TEST(UnwritableDiskTest, AFullDiskOrAReadOnlyFileSystemChangesNothing)
{
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
        GTEST_SKIP() << "needs root to mount a file system of its own";
    TempDir tree;
    ASSERT_EQ(::mount("tmpfs", tree.path().c_str(), "tmpfs", 0, "size=256k"), 0);
    tree.mkdir("private");
    std::vector<std::string> root = {"--root", tree.path()};
    for (auto [args, input] : {std::pair<std::vector<std::string>, std::string>{{"user", "add", "alice"}, "pw\n"},
                                      {{"group", "add", "staff"}, ""}, {{"protect", "private", "password"}, ""}}) {
        args.insert(args.begin(), root.begin(), root.end());
        ASSERT_EQ(runCli(args, input).status, 0);
    }
    int fd = ::open(tree.file("filler").c_str(), O_WRONLY | O_CREAT, 0600);
    const std::string block(4096, 'x');
    while (::write(fd, block.data(), block.size()) > 0) {
    }
    ::close(fd);
    for (const char* reason : {"No space left on device", "Read-only file system"}) {
        if (reason[0] == 'R') {
            std::filesystem::remove(tree.file("filler"));
            ASSERT_EQ(::mount(nullptr, tree.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        }
        const std::pair<std::string, std::vector<std::string>> commands[] = {
            {".htusers", {"user", "add", "bob"}}, {".htgroups", {"group", "add", "team"}},
            {"private/.htaccess", {"protect", "private", "address"}}};
        std::vector<std::string> before;
        for (const auto& [written, args] : commands)
            before.push_back(readFile(tree.file(written)));
        for (auto [written, args] : commands) {
            args.insert(args.begin(), root.begin(), root.end());
            CliResult result = runCli(args, "pw\n");
            EXPECT_EQ(result.status, 1) << args[2];
            EXPECT_EQ(result.err, "fendrelctl: " + tree.file(written) + " was not changed: " + reason + ".\n");
        }
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(readFile(tree.file(commands[i].first)), before[i]) << reason;
    }
    ::umount2(tree.path().c_str(), MNT_DETACH);
}
