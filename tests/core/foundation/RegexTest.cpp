#include "KLRegex.h"
#include "KLStringExtensions.h"

#include <gtest/gtest.h>

namespace {

TEST(RegexTest, CapturesOffsetsReplacementsAndLooseSpaces)
{
    auto m = KLRegex("^#?\\s*(Require)\\s+user\\s+(.*)$", true).firstMatch("# require USER j\xC3\xBCrgen bob");
    ASSERT_TRUE(m);
    EXPECT_EQ((*m)[1], "require");
    EXPECT_EQ((*m)[2], "j\xC3\xBCrgen bob");
    auto at = KLRegex("bob").firstMatch("j\xC3\xBCrgen bob"); // offsets count UTF-8 bytes
    ASSERT_TRUE(at);
    EXPECT_EQ(std::make_pair(at->start, at->end), std::make_pair(std::size_t{8}, std::size_t{11}));
    KLRegex optional("(a)?(b)");
    auto b = optional.firstMatch("b");
    ASSERT_TRUE(b);
    EXPECT_FALSE(b->groups[1].has_value());
    EXPECT_EQ((*b)[1], "");
    EXPECT_EQ(optional.groupCount(), 2u);
    EXPECT_THROW(KLRegex("(unclosed"), std::invalid_argument);
    KLRegex loose(regexWithLooseSpaces("AllowOverride None"), true);
    EXPECT_TRUE(loose.matches("    allowoverride\t None"));
    EXPECT_FALSE(loose.matches("AllowOverrideNone"));
    EXPECT_EQ(loose.replaceAll("  AllowOverride  None\n", "    AllowOverride All"), "    AllowOverride All\n");
    EXPECT_EQ(KLRegex("(\\d+)").replaceAll("a1b22", "<$1>"), "a<1>b<22>");
    EXPECT_EQ(KLRegex("x").allMatches("xax").size(), 2u);
}

} // namespace
