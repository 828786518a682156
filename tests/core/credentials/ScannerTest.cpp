#include "KLNameIndex.h"
#include "KLNameSet.h"
#include "KLScanner.h"

#include <gtest/gtest.h>

namespace {

TEST(ScannerTest, WhiteSpaceIsSkippedOnlyWhenAskedAndSkipLineMovesOn)
{
    // A no-break space and a line separator are white space too; malformed UTF-8 is not.
    KLScanner scanner("\xC2\xA0 \n\xE2\x80\xA8" "ab:cd", KLScanner::Skip::WhitespaceAndNewlines);
    std::string token = "unchanged";
    EXPECT_FALSE(scanner.scanString("x"));
    ASSERT_TRUE(scanner.scanUpToString(":", token));
    EXPECT_FALSE(scanner.scanUpToString(":", token));
    EXPECT_EQ(token, "ab");
    EXPECT_TRUE(scanner.scanString(":"));
    EXPECT_TRUE(scanner.scanUpToString("\n", token));
    EXPECT_EQ(token, "cd");
    EXPECT_TRUE(scanner.isAtEnd());
    EXPECT_FALSE(scanner.scanUpToString("\n", token));
    KLScanner malformed("\xFF:", KLScanner::Skip::WhitespaceAndNewlines);
    ASSERT_TRUE(malformed.scanUpToString(":", token));
    EXPECT_EQ(token, "\xFF");
    for (auto [text, white] : {std::pair("ab\xFF\xC2", false), std::pair("a\xE3\x80\x80", true), std::pair("a\rb", true)})
        EXPECT_EQ(KLScanner::containsWhitespaceOrNewline(text), white) << text;
    KLScanner skipping("x \n\t", KLScanner::Skip::WhitespaceAndNewlines), plain("x \n\t", KLScanner::Skip::None);
    ASSERT_TRUE(skipping.scanUpToString(" ", token) && plain.scanUpToString(" ", token));
    EXPECT_EQ(std::pair(skipping.isAtEnd(), plain.isAtEnd()), std::pair(true, false));
    ASSERT_TRUE(plain.scanUpToString("\t", token));
    EXPECT_EQ(token, " \n");

    KLScanner lines(":a\n:b", KLScanner::Skip::None);
    EXPECT_FALSE(lines.scanUpToString(":", token));
    lines.skipLine();
    EXPECT_EQ(lines.scanLocation(), 3u);
    lines.skipLine();
    EXPECT_TRUE(lines.isAtEnd());
}

TEST(NameIndexTest, IndexAndSetCountDuplicatesFoldCaseAndTakeLongNames)
{
    KLNameIndex exact(KLNameIndex::Matching::Exact), folded(KLNameIndex::Matching::IgnoringCase);
    for (const char* name : {"Alice", "Alice", "J\xC3\x96RG"}) {
        exact.add(name);
        folded.add(name);
    }
    EXPECT_EQ(std::tuple(exact.contains("Alice"), exact.contains("alice"), folded.contains("ALICE"),
                         folded.contains("j\xC3\xB6rg")),
              std::tuple(true, false, true, true));
    exact.remove("Alice");
    folded.remove("aLICE");
    EXPECT_TRUE(exact.contains("Alice") && folded.contains("alice")) << "one of two removed";
    exact.remove("Alice");
    folded.remove("alice");
    EXPECT_FALSE(exact.contains("Alice") || folded.contains("alice"));
    exact.remove("never there");
    EXPECT_EQ(exact.size(), 1u);
    EXPECT_TRUE(KLNameIndex::equalIgnoringCase("\xE2\x84\xAAim", "kim")); // the Kelvin sign folds to k
    std::vector<std::string> names{"a-name-longer-than-fifteen-bytes", "user7", ""};
    for (int i = 0; i < 5000; ++i)
        names.push_back("user" + std::to_string(i));
    KLNameSet set(names);
    for (const char* in : {"user0", "user4999", "a-name-longer-than-fifteen-bytes", ""})
        EXPECT_TRUE(set.contains(in)) << in;
    for (const char* out : {"user5000", "User1", "user1\r", "a-name-longer-than-fifteen-byteS"})
        EXPECT_FALSE(set.contains(out)) << out;
    EXPECT_FALSE(KLNameSet({}).contains(""));
}

} // namespace
