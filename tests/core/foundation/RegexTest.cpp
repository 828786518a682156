#include "KLRegex.h"
#include "KLStringExtensions.h"

#include <gtest/gtest.h>

namespace {

TEST(RegexTest, CapturesAndOffsetsAreUtf8)
{
    KLRegex r("^#?\\s*(Require)\\s+user\\s+(.*)$", true);
    auto m = r.firstMatch("# require USER j\xC3\xBCrgen bob");
    ASSERT_TRUE(m);
    EXPECT_EQ((*m)[1], "require");
    EXPECT_EQ((*m)[2], "j\xC3\xBCrgen bob");
    KLRegex word("bob");
    auto at = word.firstMatch("j\xC3\xBCrgen bob");
    ASSERT_TRUE(at);
    EXPECT_EQ(at->start, 8u);
    EXPECT_EQ(at->end, 11u);
}

TEST(RegexTest, OptionalGroupsThatDidNotTakePartAreAbsent)
{
    KLRegex r("(a)?(b)");
    auto m = r.firstMatch("b");
    ASSERT_TRUE(m);
    EXPECT_FALSE(m->groups[1].has_value());
    EXPECT_EQ((*m)[1], "");
    EXPECT_EQ(r.groupCount(), 2u);
}

TEST(RegexTest, ReplaceAllAndLooseSpaces)
{
    KLRegex loose(regexWithLooseSpaces("AllowOverride None"), true);
    EXPECT_TRUE(loose.matches("    allowoverride\t None"));
    EXPECT_FALSE(loose.matches("AllowOverrideNone"));
    EXPECT_EQ(loose.replaceAll("  AllowOverride  None\n", "    AllowOverride All"), "    AllowOverride All\n");
    EXPECT_EQ(KLRegex("(\\d+)").replaceAll("a1b22", "<$1>"), "a<1>b<22>");
    EXPECT_EQ(KLRegex("x").allMatches("xax").size(), 2u);
}

TEST(RegexTest, BadPatternIsRefused)
{
    EXPECT_THROW(KLRegex("(unclosed"), std::invalid_argument);
}

} // namespace
