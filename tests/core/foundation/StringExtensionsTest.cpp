#include "KLCollectionExtensions.h"
#include "KLDataExtensions.h"
#include "KLRegex.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"
#include "KLUserRecord.h"

#include <gtest/gtest.h>


namespace {

using StringCase = std::pair<std::string, std::string>;

void expectAll(const std::vector<StringCase>& cases)
{
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(got, expected);
}

TEST(StringExtensionsTest, TrimChopCommasSizesHeadersAndPaths)
{
    std::string longName(300, 'x');
    expectAll({
        // Trimming uses four characters only: a vertical tab or no-break space stays.
        {stringByRemovingSurroundingWhitespace("\t\n\t\r\n "), ""},
        {stringByRemovingSurroundingWhitespace("a b"), "a b"},
        {stringByRemovingSurroundingWhitespace(" \ta b\r\n"), "a b"},
        {stringByRemovingSurroundingWhitespace("\va\xC2\xA0"), "\va\xC2\xA0"},
        // Chop and the leading zero remove one character only.
        {chop("line\r\n"), "line\r"}, {chop("two\n\n"), "two\n"}, {chop("none"), "none"},
        {stringByRemovingLeadingZero("007"), "07"}, {stringByRemovingLeadingZero("70"), "70"},
        {stringWithFormat("\"%s\" in %s", longName.c_str(), "g"), "\"" + longName + "\" in g"},
        // Commas stop at the bound.
        {addCommas("123"), "123"}, {addCommas("1234"), "1234"}, {addCommas("12345"), "12,345"},
        {addCommas("123456"), "123,456"}, {addCommas("1234567"), "1234,567"}, {addCommas("12345678"), "12,345,678"},
        {std::string(stripHeaders(std::string_view("HTTP/1.0 200 OK\r\n\r\n<?xml version"))), "<?xml version"},
        {stringForBytes(0), "0 bytes"}, {stringForBytes(1023), "1023 bytes"}, {stringForBytes(1024), "1 KB"},
        {stringForBytes(1536), "2 KB"}, {stringForBytes(1048576), "1.0 MB"},
        {stringForBytes(1073741824ULL * 3 / 2), "1.50 GB"},
        // Parts of a mebibyte are dropped before terabytes are counted.
        {stringForBytes((1ULL << 40) + (1ULL << 19)), "1.000 TB"}, {stringForBytes(1ULL << 50), "Really Big"},
        {stringByAppendingPathComponent("/a/", "b"), "/a/b"}, {stringByAppendingPathComponent("", "/a"), "/a"},
        {stringByAppendingPathComponent("/srv", "/Data/Sites"), "/srv/Data/Sites"},
        {pathWithComponents({"/", "Data", "Sites"}), "/Data/Sites"},
        {lastPathComponent("/a/b/"), "b"}, {lastPathComponent("/"), "/"},
        {stringByDeletingLastPathComponent("/private/etc/apache2/httpd.conf"), "/private/etc/apache2"},
        {stringByDeletingLastPathComponent("/etc/apache2/"), "/etc"},
        {stringByDeletingLastPathComponent("/httpd.conf"), "/"}, {stringByDeletingLastPathComponent("/"), "/"},
        {stringByDeletingLastPathComponent("apache2.conf"), ""},
        {stringByDeletingLastPathComponent("conf//apache2.conf"), "conf"},
    });
    EXPECT_EQ(pathComponents("/Volumes/Data/"), (std::vector<std::string>{"/", "Volumes", "Data"}));
    // Header stripping looks at the first 511 bytes only.
    auto headerOf = [](std::size_t length) {
        std::string start = "HTTP/1.0 200 OK\r\nX: ";
        return start + std::string(length - start.size() - 4, 'a') + "\r\n\r\n";
    };
    // The blank line ending on the last byte looked at is found, one byte later it is not.
    const StringCase cases[] = {
        {headerOf(511) + "body", "body"},
        {headerOf(512) + "body", ""},
        {std::string("HTTP\0/1.0\r\n\r\nbody", 18), ""},
    };
    for (const auto& [reply, expected] : cases) {
        std::string text = reply;
        stripHeaders(text);
        EXPECT_EQ(text, expected.empty() ? reply : expected);
    }
}

TEST(CollectionExtensionsTest, BoolsFlattenIntersectionsAndUserOrder)
{
    // Only an exact "YES" reads as true.
    KLPlist::Dictionary d{{"s", "yes"}, {"S", "YES"}, {"n", 2}, {"a", KLPlist::Array{}}};
    EXPECT_EQ(std::tuple(boolForKey(d, "s"), boolForKey(d, "S"), boolForKey(d, "n"), boolForKey(d, "a", true),
                         boolForKey(d, "missing", true)),
              std::tuple(false, true, true, false, true));
    setBoolValue(d, true, "set");
    EXPECT_EQ(d["set"], KLPlist(true));

    EXPECT_THROW(flattenedArrayWithKey({KLPlist(KLPlist::Dictionary{{"name", "x"}})}, "user"), std::invalid_argument);
    EXPECT_EQ(intersectionWithSet({"a", "b"}, {"b"}), (std::set<std::string>{"b"}));
    // The user order follows the case setting, read once when the order is made.
    auto& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setApplicationIdentifier("test.case-order");
    auto user = [](const char* name) { return KLUserRecord{name, ""}; };
    defaults.setBool(false, "Case Sensitive Compare");
    auto before = KLUserRecord::order();
    EXPECT_EQ(std::pair(compareUsernames("alice", "Bob"), compareUsernames("ALICE", "alice")), std::pair(-1, 0));
    defaults.setBool(true, "Case Sensitive Compare");
    EXPECT_EQ(std::tuple(compareUsernames("alice", "Bob"), compareUsernames("alice", "Bob", false),
                         before(user("alice"), user("Bob")), KLUserRecord::order()(user("alice"), user("Bob"))),
              std::tuple(1, -1, true, false));
}

TEST(RegexTest, CapturesOffsetsReplacementsAndLooseSpaces)
{
    auto at = KLRegex("bob").firstMatch("j\xC3\xBCrgen bob"); // offsets count UTF-8 bytes
    ASSERT_TRUE(at);
    EXPECT_EQ(std::make_pair(at->start, at->end), std::make_pair(std::size_t{8}, std::size_t{11}));
    KLRegex optional("(a)?(b)");
    auto b = optional.firstMatch("b");
    ASSERT_TRUE(b);
    EXPECT_EQ(std::tuple(b->groups[1].has_value(), (*b)[1], optional.groupCount()), std::tuple(false, "", 2u));
    EXPECT_THROW(KLRegex("(unclosed"), std::invalid_argument);
    KLRegex loose(regexWithLooseSpaces("AllowOverride None"), true);
    EXPECT_TRUE(loose.matches("    allowoverride\t None") && !loose.matches("AllowOverrideNone"));
    EXPECT_EQ(loose.replaceAll("  AllowOverride  None\n", "    AllowOverride All"), "    AllowOverride All\n");
    EXPECT_EQ(KLRegex("(\\d+)").replaceAll("a1b22", "<$1>"), "a<1>b<22>");
    EXPECT_EQ(KLRegex("x").allMatches("xax").size(), 2u);
}

} // namespace
