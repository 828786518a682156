#include "KLNameIndex.h"
#include "KLNameSet.h"
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
    KLNameIndex exact(KLNameIndex::Matching::Exact);
    KLNameIndex folded(KLNameIndex::Matching::IgnoringCase);
    for (const char* name : {"Alice", "Alice", "J\xC3\x96RG"}) {
        exact.add(name);
        folded.add(name);
    }
    EXPECT_TRUE(exact.contains("Alice"));
    EXPECT_FALSE(exact.contains("alice"));
    EXPECT_TRUE(folded.contains("ALICE"));
    EXPECT_TRUE(folded.contains("j\xC3\xB6rg"));
    exact.remove("Alice");
    folded.remove("aLICE");
    EXPECT_TRUE(exact.contains("Alice"));
    EXPECT_TRUE(folded.contains("alice"));
    exact.remove("Alice");
    folded.remove("alice");
    EXPECT_FALSE(exact.contains("Alice"));
    EXPECT_FALSE(folded.contains("alice"));
    exact.remove("never there");
    EXPECT_EQ(exact.size(), 1u);
    // The Kelvin sign folds to an ASCII k.
    EXPECT_TRUE(KLNameIndex::equalIgnoringCase("\xE2\x84\xAAim", "kim"));
}

} // namespace

namespace {

TEST(NameSetTest, ShortAndLongNamesAndDuplicates)
{
    std::vector<std::string> names;
    for (int i = 0; i < 5000; ++i)
        names.push_back("user" + std::to_string(i));
    names.push_back("a-name-longer-than-fifteen-bytes");
    names.push_back("user7");
    names.push_back("");
    KLNameSet set(names);
    EXPECT_TRUE(set.contains("user0"));
    EXPECT_TRUE(set.contains("user4999"));
    EXPECT_TRUE(set.contains("a-name-longer-than-fifteen-bytes"));
    EXPECT_TRUE(set.contains(""));
    EXPECT_FALSE(set.contains("user5000"));
    EXPECT_FALSE(set.contains("User1"));
    EXPECT_FALSE(set.contains("user1\r"));
    EXPECT_FALSE(set.contains("a-name-longer-than-fifteen-byteS"));
    EXPECT_FALSE(KLNameSet({}).contains(""));
}

} // namespace
