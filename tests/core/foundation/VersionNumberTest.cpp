#include "KLLog.h"
#include "KLVersionNumber.h"

#include <gtest/gtest.h>

namespace {

int compare(const std::string& a, const std::string& b)
{
    KLVersionNumber left(a), right(b);
    return left.compare(right);
}

TEST(VersionNumberTest, ParsesNumbersAndDividers)
{
    EXPECT_EQ(KLVersionNumber("1.2.3").description(), "1.2.3");
    EXPECT_EQ(KLVersionNumber("2.0B1").description(), "2.0b1");
    EXPECT_EQ(KLVersionNumber("b2").description(), "0b2");
    EXPECT_EQ(KLVersionNumber("1.0fc2").numberOfTokens(), 5);
    EXPECT_EQ(KLVersionNumber(" 1 .2 ").description(), "1.2");
    // White space inside a divider belongs to it, and ". " is no divider.
    EXPECT_EQ(KLVersionNumber("1 . 2").numberOfTokens(), 0);
    EXPECT_EQ(KLVersionNumber::versionWithString(""), nullptr);
    EXPECT_EQ(KLVersionNumber::versionWithString("1")->stringValue(), "1");
}

TEST(VersionNumberTest, BadStringsLogAndKeepNoTokens)
{
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& l) { lines.push_back(l); });
    EXPECT_EQ(KLVersionNumber("1.0 beta").numberOfTokens(), 0);
    EXPECT_EQ(KLVersionNumber("1-2").numberOfTokens(), 0);
    KLSetLogSink(nullptr);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Invalid characters 'beta' in version string");
    EXPECT_EQ(lines[1], "Invalid value '-2' in version string");
}

TEST(VersionNumberTest, OrderingRules)
{
    EXPECT_EQ(compare("1.2", "1.10"), -1);
    EXPECT_EQ(compare("1.0", "1.0.1"), -1);
    EXPECT_EQ(compare("1.0.1", "1.0"), 1);
    EXPECT_EQ(compare("1.0b1", "1.0"), 1);
    EXPECT_EQ(compare("1d", "1"), -1);
    EXPECT_EQ(compare("1", "1d"), 1);
    EXPECT_EQ(compare("2.1", "2.1"), 0);
    EXPECT_EQ(compare("1.0a1", "1.0b1"), -1);
    // A version that failed to parse has no tokens; by the tie rule the
    // longer "0" is then the older one.
    EXPECT_EQ(compare("junk!", "0"), 1);
}

TEST(VersionNumberTest, SecondComparisonReadsOnFromTheCursors)
{
    KLVersionNumber a("1.2"), b("1.3");
    EXPECT_EQ(a.compare(b), -1);
    // Both cursors stopped inside the versions; the rest compares differently.
    int second = a.compare(b);
    a.resetCursor();
    b.resetCursor();
    EXPECT_EQ(a.compare(b), -1);
    EXPECT_NE(second, -1);
}

TEST(VersionNumberTest, NextTokenPastTheEndAdvancesAndGivesZero)
{
    KLVersionNumber v("3.1r");
    EXPECT_EQ(v.nextToken(), 3);
    EXPECT_EQ(v.nextToken(), 7);
    EXPECT_EQ(v.nextToken(), 1);
    EXPECT_EQ(v.nextToken(), 6);
    EXPECT_EQ(v.nextToken(), 0);
    EXPECT_EQ(v.nextToken(), 0);
}

} // namespace
