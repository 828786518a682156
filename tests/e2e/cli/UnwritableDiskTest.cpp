// File systems fendrelctl cannot write: one line on standard error, exit
// status 1, and every file as it was.
#include "CliFixture.h"
#include "TempDir.h"

#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class UnwritableDiskTest : public CliFixture
{
protected:
    void SetUp() override
    {
        CliFixture::SetUp();
        addUser("alice");
        ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
        ASSERT_EQ(ctl({"protect", "private", "password"}).status, 0);
    }
    std::vector<std::string> snapshot() const
    {
        std::vector<std::string> files;
        for (const char* name : {".htusers", ".htgroups", "private/.htaccess"})
            files.push_back(readFile(tree.file(name)));
        return files;
    }
    // Each command that writes a file fails with the reason in one line,
    // and no file changes.
    void expectEveryWriteRefused(const std::string& reason)
    {
        std::vector<std::string> before = snapshot();
        const std::vector<std::pair<std::string, std::vector<std::string>>> commands = {
            {".htusers", {"user", "add", "bob"}},
            {".htgroups", {"group", "add", "team"}},
            {"private/.htaccess", {"protect", "private", "address"}}};
        for (const auto& [writes, command] : commands) {
            CliResult result = ctl(command, "pw\n");
            EXPECT_EQ(result.status, 1) << command[0];
            EXPECT_EQ(result.err, "fendrelctl: " + tree.file(writes) + " was not changed: " + reason + ".\n");
        }
        EXPECT_EQ(snapshot(), before);
    }
};

// A full disk and a read-only file system, on a small file system of this
// test's own (root only, in a mount namespace of this process).
TEST_F(UnwritableDiskTest, AFullDiskOrAReadOnlyFileSystemChangesNothing)
{
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
        GTEST_SKIP() << "needs root to mount a file system of its own";
    TempDir copy;
    std::filesystem::copy(tree.path(), copy.path(), std::filesystem::copy_options::recursive |
                                                        std::filesystem::copy_options::overwrite_existing);
    ASSERT_EQ(::mount("tmpfs", tree.path().c_str(), "tmpfs", 0, "size=256k"), 0);
    std::filesystem::copy(copy.path(), tree.path(), std::filesystem::copy_options::recursive);
    {
        // Fills the file system to the last block.
        int fd = ::open(tree.file("filler").c_str(), O_WRONLY | O_CREAT, 0600);
        std::string block(4096, 'x');
        while (::write(fd, block.data(), block.size()) > 0) {
        }
        ::close(fd);
        expectEveryWriteRefused("No space left on device");
    }
    std::filesystem::remove(tree.file("filler"));
    ASSERT_EQ(::mount(nullptr, tree.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    expectEveryWriteRefused("Read-only file system");
    ::umount2(tree.path().c_str(), MNT_DETACH);
}

} // namespace
