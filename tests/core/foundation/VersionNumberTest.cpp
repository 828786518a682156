#include "KLLog.h"
#include "KLVersionNumber.h"

#include <gtest/gtest.h>

TEST(VersionNumberTest, ParsingOrderingAndTokens)
{
    const std::pair<const char*, const char*> descriptions[] = {
        {"1.2.3", "1.2.3"}, {"2.0B1", "2.0b1"}, {"b2", "0b2"}, {" 1 .2 ", "1.2"}};
    for (auto [text, expected] : descriptions)
        EXPECT_EQ(KLVersionNumber(text).description(), expected) << text;
    EXPECT_EQ(KLVersionNumber("1.0fc2").numberOfTokens(), 5);
    // White space inside a divider belongs to it, and ". " is no divider.
    EXPECT_EQ(KLVersionNumber("1 . 2").numberOfTokens(), 0);
    EXPECT_TRUE(!KLVersionNumber::versionWithString("") &&
                KLVersionNumber::versionWithString("1")->stringValue() == "1");
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& l) { lines.push_back(l); });
    EXPECT_EQ(KLVersionNumber("1.0 beta").numberOfTokens() + KLVersionNumber("1-2").numberOfTokens(), 0);
    KLSetLogSink(nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>{"Invalid characters 'beta' in version string",
                                               "Invalid value '-2' in version string"}));
    // A version that failed to parse has no tokens; by the tie rule the longer "0" is the older.
    const std::tuple<const char*, const char*, int> cases[] = {
        {"1.2", "1.10", -1}, {"1.0", "1.0.1", -1}, {"1.0.1", "1.0", 1},   {"1.0b1", "1.0", 1},  {"1d", "1", -1},
        {"1", "1d", 1},      {"2.1", "2.1", 0},    {"1.0a1", "1.0b1", -1}, {"junk!", "0", 1}};
    for (auto [a, b, expected] : cases) {
        KLVersionNumber left(a), right(b);
        EXPECT_EQ(left.compare(right), expected) << a << " vs " << b;
    }
    // A second comparison reads on from where both cursors stopped.
    KLVersionNumber a("1.2"), b("1.3");
    int first = a.compare(b), second = a.compare(b);
    a.resetCursor();
    b.resetCursor();
    EXPECT_EQ(std::tuple(first, second, a.compare(b)), std::tuple(-1, 0, -1));
    // Asking for a token past the end advances and gives zero.
    KLVersionNumber v("3.1r");
    std::vector<int> tokens;
    for (int i = 0; i < 6; ++i)
        tokens.push_back(v.nextToken());
    EXPECT_EQ(tokens, (std::vector<int>{3, 7, 1, 6, 0, 0}));
}
