#include "FileSizeLimit.h"
#include "KLAtomicFile.h"
#include "KLTextFile.h"
#include "TempDir.h"

#include <filesystem>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(TextFileTest, DecodesByteOrderMarksAndGuessesAndUnreadableFilesGiveNothing)
{
    const std::string text = "Require user j\xC3\xBCrgen\n";
    std::string le = "\xFF\xFE", be = "\xFE\xFF";
    for (char32_t c : std::u32string(U"Require user j\u00FCrgen\n")) {
        le += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
        be += {static_cast<char>(c >> 8), static_cast<char>(c & 0xFF)};
    }
    for (const std::string& encoded : {text, "\xEF\xBB\xBF" + text, le, be})
        EXPECT_EQ(KLTextFile::decode(encoded), text);
    // A surrogate, an overlong form and a code point past U+10FFFF are not
    // passed through: what comes back is valid UTF-8, or nothing.
    const std::string fourBytes = "user \xF0\x9F\x98\x80:abc\n";
    EXPECT_EQ(KLTextFile::decode(fourBytes), fourBytes);
    for (const std::string bad : {"Require user caf\xED\xA0\x80s and more\n", "Require user caf\xE0\x80\xAFs\n",
                                  "Require user caf\xF4\x90\x80\x80s\n"}) {
        std::optional<std::string> decoded = KLTextFile::decode(bad);
        if (!decoded)
            continue;
        EXPECT_NE(*decoded, bad);
        EXPECT_EQ(KLTextFile::decode(*decoded), decoded) << "not valid UTF-8: " << *decoded;
    }
    EXPECT_FALSE(KLTextFile::read("/nonexistent/fendrel/file"));
    TempDir dir;
    EXPECT_EQ(KLTextFile::read(dir.write("empty", "")), "");
    // A folder opens but cannot be read: nothing, not an empty text.
    EXPECT_FALSE(KLTextFile::readBytes(dir.mkdir("folder")));
}

// What replacing a file keeps: its mode, its owner and group where the writer
// may keep them (else a group it belongs to), and the old bytes when the write
// fails; no temporary file is left either way.
TEST(AtomicFileTest, ReplacementKeepsModeOwnerAndOldBytesOnFailure)
{
    TempDir dir;
    std::string path = dir.write(".htusers", "old\n");
    auto expectFile = [&](const std::string& bytes, mode_t mode, uid_t uid, gid_t gid) {
        struct stat st{};
        ASSERT_EQ(::stat(path.c_str(), &st), 0);
        EXPECT_EQ(readFile(path), bytes);
        EXPECT_EQ(st.st_mode & 07777, mode);
        EXPECT_EQ(st.st_uid, uid);
        EXPECT_EQ(st.st_gid, gid);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    };
    ::chmod(path.c_str(), 0640);
    ASSERT_TRUE(KLAtomicFile::write(path, "new\n"));
    expectFile("new\n", 0640, ::geteuid(), ::getegid());
    {
        FileSizeLimit limit(16);
        EXPECT_FALSE(KLAtomicFile::write(path, std::string(1000, 'x')));
    }
    EXPECT_FALSE(KLAtomicFile::lastError().empty());
    expectFile("new\n", 0640, ::geteuid(), ::getegid());
    EXPECT_FALSE(KLAtomicFile::write(dir.path(), "a folder is no file"));
    EXPECT_FALSE(KLAtomicFile::write(dir.file("missing/folder/file"), "x"));

    mode_t oldMask = ::umask(022);
    ASSERT_TRUE(KLAtomicFile::write(dir.file("fresh"), "x", {.defaultMode = 0666}));
    ::umask(oldMask);
    struct stat fresh{};
    ::stat(dir.file("fresh").c_str(), &fresh);
    EXPECT_EQ(fresh.st_mode & 07777, 0644u);
    std::filesystem::remove(dir.file("fresh"));

    if (::geteuid() != 0)
        return; // only root can arrange a file that belongs to another user
    constexpr uid_t kNobody = 65534;
    constexpr gid_t kNoGroup = 65534, kWebGroup = 4242;
    ::chmod(dir.path().c_str(), 0777);
    ASSERT_EQ(::chown(path.c_str(), kNobody, kWebGroup), 0);
    ASSERT_TRUE(KLAtomicFile::write(path, "root\n"));
    expectFile("root\n", 0640, kNobody, kWebGroup);
    // A member of the file's group keeps it; anyone else gets their own.
    for (auto [groups, expected] : {std::pair<std::vector<gid_t>, gid_t>{{kWebGroup}, kWebGroup}, {{}, kNoGroup}}) {
        ASSERT_EQ(::chown(path.c_str(), 0, kWebGroup), 0);
        pid_t child = ::fork();
        if (child == 0) {
            // The folder is entered first: the temporary folders above it are closed to others.
            if (::chdir(dir.path().c_str()) != 0 || ::setgroups(groups.size(), groups.data()) != 0 ||
                ::setgid(kNoGroup) != 0 || ::setuid(kNobody) != 0)
                ::_exit(2);
            ::_exit(KLAtomicFile::write(".htusers", "nobody\n") ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        ASSERT_EQ(status, 0);
        expectFile("nobody\n", 0640, kNobody, expected);
    }
}
