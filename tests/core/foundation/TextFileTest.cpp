#include "FileSizeLimit.h"
#include "KLAtomicFile.h"
#include "KLTextFile.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace {

TEST(TextFileTest, DecodesByteOrderMarksAndGuesses)
{
    const std::string text = "Require user j\xC3\xBCrgen\n";
    EXPECT_EQ(KLTextFile::decode(text), text);
    EXPECT_EQ(KLTextFile::decode("\xEF\xBB\xBF" + text), text);
    // "Require user jürgen\n" in UTF-16 with each byte order mark.
    std::string le = "\xFF\xFE", be = "\xFE\xFF";
    for (char32_t c : std::u32string(U"Require user j\u00FCrgen\n")) {
        le += static_cast<char>(c & 0xFF);
        le += static_cast<char>(c >> 8);
        be += static_cast<char>(c >> 8);
        be += static_cast<char>(c & 0xFF);
    }
    EXPECT_EQ(KLTextFile::decode(le), text);
    EXPECT_EQ(KLTextFile::decode(be), text);
    // Latin-1 is not UTF-8; the detector's guess still gives the ü.
    auto latin1 = KLTextFile::decode("Require user j\xFCrgen and m\xFCller from the west\n");
    ASSERT_TRUE(latin1);
    EXPECT_NE(latin1->find("j\xC3\xBCrgen"), std::string::npos);
    // Short Latin-1 lines are no UTF-16, whatever the detector rates
    // highest: without NUL bytes that guess is passed over.
    EXPECT_EQ(KLTextFile::decode("jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n"),
              "jos\xC3\xA9:abcdefghijklm\nzo\xC3\xAB:nopqrstuvwxyz\nalice:h1\n");
}

TEST(TextFileTest, UnreadableFileGivesNothing)
{
    EXPECT_FALSE(KLTextFile::read("/nonexistent/fendrel/file"));
    TempDir dir;
    EXPECT_EQ(KLTextFile::read(dir.write("empty", "")), "");
    // A folder opens but cannot be read: nothing, not an empty text.
    EXPECT_FALSE(KLTextFile::readBytes(dir.mkdir("folder")));
}

TEST(AtomicFileTest, ReplacementKeepsModeAndLeavesNoTemporaryFile)
{
    TempDir dir;
    std::string path = dir.write(".htaccess", "old\n");
    ::chmod(path.c_str(), 0640);
    ASSERT_TRUE(KLAtomicFile::write(path, "new\n"));
    EXPECT_EQ(readFile(path), "new\n");
    struct stat st{};
    ::stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(AtomicFileTest, NewFileGetsTheDefaultMode)
{
    TempDir dir;
    mode_t old = ::umask(022);
    KLAtomicFile::Options options;
    options.defaultMode = 0666;
    ASSERT_TRUE(KLAtomicFile::write(dir.file("fresh"), "x", options));
    ::umask(old);
    struct stat st{};
    ::stat(dir.file("fresh").c_str(), &st);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
}

TEST(AtomicFileTest, FailedWriteKeepsTheOldFile)
{
    TempDir dir;
    std::string path = dir.write("users", "alice:hash\n");
    {
        FileSizeLimit limit(16);
        EXPECT_FALSE(KLAtomicFile::write(path, std::string(1000, 'x')));
    }
    EXPECT_FALSE(KLAtomicFile::lastError().empty());
    EXPECT_EQ(readFile(path), "alice:hash\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    EXPECT_FALSE(KLAtomicFile::write(dir.path(), "a folder is no file"));
    EXPECT_FALSE(KLAtomicFile::write(dir.file("missing/folder/file"), "x"));
}

} // namespace
