#include "KLAtomicFile.h"
#include "KLTextFile.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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
    // Short Latin-1 lines without NUL bytes are never taken for UTF-16.
    EXPECT_EQ(KLTextFile::decode("jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n"),
              "jos\xC3\xA9:abcdefghijklm\nzo\xC3\xAB:nopqrstuvwxyz\nalice:h1\n");
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

constexpr uid_t kNobody = 65534;
constexpr gid_t kNoGroup = 65534;

// Replaces name inside folder from a child process running as an ordinary
// user with the given supplementary groups; whether the write succeeded.
bool writeAsOrdinaryUser(const std::string& folder, const std::string& name, const std::vector<gid_t>& groups)
{
    pid_t child = ::fork();
    if (child == 0) {
        // Entered first: the test's own temporary folders above it are closed to other users.
        if (::chdir(folder.c_str()) != 0 || ::setgroups(groups.size(), groups.data()) != 0 ||
            ::setgid(kNoGroup) != 0 || ::setuid(kNobody) != 0)
            ::_exit(2);
        ::_exit(KLAtomicFile::write(name, "new\n") ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(AtomicFileTest, WriterWhoCannotKeepTheOwnerKeepsTheGroup)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can arrange a file that belongs to another user";
    constexpr gid_t kWebGroup = 4242;
    TempDir dir;
    ::chmod(dir.path().c_str(), 0777);
    std::string path = dir.file(".htusers");
    struct stat st{};
    // A member of the file's group keeps it; anyone else gets their own.
    using Case = std::pair<std::vector<gid_t>, gid_t>;
    for (auto [groups, gid] : {Case{{kWebGroup}, kWebGroup}, Case{{}, kNoGroup}}) {
        dir.write(".htusers", "old\n");
        ASSERT_EQ(::chown(path.c_str(), 0, kWebGroup), 0);
        ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
        ASSERT_TRUE(writeAsOrdinaryUser(dir.path(), ".htusers", groups));
        ASSERT_EQ(::stat(path.c_str(), &st), 0);
        EXPECT_EQ(std::tuple(st.st_uid, st.st_gid, st.st_mode & 07777), std::tuple(kNobody, gid, 0640u));
        EXPECT_EQ(readFile(path), "new\n");
    }
}

} // namespace
