#include "KLNameIndex.h"
#include "KLScanner.h"

#include <gtest/gtest.h>

namespace {

TEST(ScannerTest, SkippingScannerPassesOverUnicodeWhiteSpace)
{
    // A no-break space and a line separator are white space too.
    KLScanner scanner("\xC2\xA0 \n\xE2\x80\xA8" "ab:cd", KLScanner::Skip::WhitespaceAndNewlines);
    std::string token = "unchanged";
    EXPECT_FALSE(scanner.scanString("x"));
    ASSERT_TRUE(scanner.scanUpToString(":", token));
    EXPECT_EQ(token, "ab");
    EXPECT_FALSE(scanner.scanUpToString(":", token));
    EXPECT_EQ(token, "ab");
    EXPECT_TRUE(scanner.scanString(":"));
    EXPECT_TRUE(scanner.scanUpToString("\n", token));
    EXPECT_EQ(token, "cd");
    EXPECT_TRUE(scanner.isAtEnd());
    EXPECT_FALSE(scanner.scanUpToString("\n", token));
}

TEST(ScannerTest, EndIgnoresTrailingWhiteSpaceOnlyWhenSkipping)
{
    KLScanner skipping("x \n\t", KLScanner::Skip::WhitespaceAndNewlines);
    KLScanner plain("x \n\t", KLScanner::Skip::None);
    std::string token;
    ASSERT_TRUE(skipping.scanUpToString(" ", token));
    ASSERT_TRUE(plain.scanUpToString(" ", token));
    EXPECT_TRUE(skipping.isAtEnd());
    EXPECT_FALSE(plain.isAtEnd());
    // Without a skip set white space is text like any other.
    ASSERT_TRUE(plain.scanUpToString("\t", token));
    EXPECT_EQ(token, " \n");
}

TEST(ScannerTest, SkipLineAlwaysMovesOn)
{
    KLScanner scanner(":a\n:b", KLScanner::Skip::None);
    std::string token;
    EXPECT_FALSE(scanner.scanUpToString(":", token));
    scanner.skipLine();
    EXPECT_EQ(scanner.scanLocation(), 3u);
    scanner.skipLine();
    EXPECT_TRUE(scanner.isAtEnd());
}

TEST(ScannerTest, MalformedUTF8IsNotWhiteSpace)
{
    EXPECT_FALSE(KLScanner::containsWhitespaceOrNewline("ab\xFF\xC2"));
    EXPECT_TRUE(KLScanner::containsWhitespaceOrNewline("a\xE3\x80\x80"));
    EXPECT_TRUE(KLScanner::containsWhitespaceOrNewline("a\rb"));
    KLScanner scanner("\xFF:", KLScanner::Skip::WhitespaceAndNewlines);
    std::string token;
    ASSERT_TRUE(scanner.scanUpToString(":", token));
    EXPECT_EQ(token, "\xFF");
}

TEST(NameIndexTest, CountsDuplicatesAndFoldsCase)
{
    KLNameIndex index;
    index.add("Alice");
    index.add("Alice");
    index.add("J\xC3\x96RG");
    EXPECT_TRUE(index.contains("Alice"));
    EXPECT_FALSE(index.contains("alice"));
    EXPECT_TRUE(index.containsIgnoringCase("ALICE"));
    EXPECT_TRUE(index.containsIgnoringCase("j\xC3\xB6rg"));
    index.remove("Alice");
    EXPECT_TRUE(index.contains("Alice"));
    index.remove("Alice");
    EXPECT_FALSE(index.contains("Alice"));
    EXPECT_FALSE(index.containsIgnoringCase("alice"));
    index.remove("never there");
    EXPECT_EQ(index.size(), 1u);
    // The Kelvin sign folds to an ASCII k.
    EXPECT_TRUE(KLNameIndex::equalIgnoringCase("\xE2\x84\xAAim", "kim"));
}

} // namespace
