#include "KLFileExtensions.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(FileExtensionsTest, AcceptabilityAndLinks)
{
    TempDir dir;
    std::string empty = dir.write("empty", "");
    std::string full = dir.write("full", "x");
    std::filesystem::create_symlink(empty, dir.file("link-to-empty"));
    std::filesystem::create_symlink(dir.file("gone"), dir.file("link-to-nothing"));
    std::filesystem::create_symlink(full, dir.file("link-to-full"));
    const std::pair<const char*, int> cases[] = {{"missing", 4}, {"empty", 9}, {"link-to-empty", 9}, {"full", 0},
                                                 {"link-to-nothing", 4}, {"link-to-full", 0}};
    for (auto [name, code] : cases)
        EXPECT_EQ(isFileAcceptable(dir.file(name)), code) << name;
    dir.write("target", "12345");
    std::filesystem::create_symlink(dir.file("target"), dir.file("link"));
    auto unfollowed = attributesOfItemAtPath(dir.file("link"), false);
    auto followed = attributesOfItemAtPath(dir.file("link"), true);
    ASSERT_TRUE(unfollowed && followed);
    EXPECT_TRUE(S_ISLNK(unfollowed->st_mode) && followed->st_size == 5);
}
