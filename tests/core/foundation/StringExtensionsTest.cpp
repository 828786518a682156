#include "KLCollectionExtensions.h"
#include "KLDataExtensions.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(StringExtensionsTest, WhitespaceTrimmingUsesOnlyFourCharacters)
{
    EXPECT_EQ(stringByRemovingSurroundingWhitespace("\t\n\t\r\n "), "");
    EXPECT_EQ(stringByRemovingSurroundingWhitespace("a b"), "a b");
    EXPECT_EQ(stringByRemovingSurroundingWhitespace(" \ta b\r\n"), "a b");
    // A vertical tab or no-break space is no white space here.
    EXPECT_EQ(stringByRemovingSurroundingWhitespace("\va\xC2\xA0"), "\va\xC2\xA0");
}

TEST(StringExtensionsTest, ChopAndLeadingZeroRemoveOneCharacterOnly)
{
    EXPECT_EQ(chop("line\r\n"), "line\r");
    EXPECT_EQ(chop("two\n\n"), "two\n");
    EXPECT_EQ(chop("none"), "none");
    EXPECT_EQ(stringByRemovingLeadingZero("007"), "07");
    EXPECT_EQ(stringByRemovingLeadingZero("70"), "70");
}

TEST(StringExtensionsTest, FormatGrowsToTheWholeText)
{
    std::string longName(300, 'x');
    EXPECT_EQ(stringWithFormat("Group %d", 12), "Group 12");
    EXPECT_EQ(stringWithFormat("\"%s\" in %s", longName.c_str(), "g"), "\"" + longName + "\" in g");
}

TEST(StringExtensionsTest, CommasStopAtTheBound)
{
    EXPECT_EQ(addCommas("123"), "123");
    EXPECT_EQ(addCommas("1234"), "1234");
    EXPECT_EQ(addCommas("12345"), "12,345");
    EXPECT_EQ(addCommas("123456"), "123,456");
    EXPECT_EQ(addCommas("1234567"), "1234,567");
    EXPECT_EQ(addCommas("12345678"), "12,345,678");
}

TEST(StringExtensionsTest, SizesPickTheirUnit)
{
    EXPECT_EQ(stringForBytes(0), "0 bytes");
    EXPECT_EQ(stringForBytes(1023), "1023 bytes");
    EXPECT_EQ(stringForBytes(1024), "1 KB");
    EXPECT_EQ(stringForBytes(1536), "2 KB");
    EXPECT_EQ(stringForBytes(1048576), "1.0 MB");
    EXPECT_EQ(stringForBytes(1073741824ULL * 3 / 2), "1.50 GB");
    // Parts of a mebibyte are dropped before terabytes are counted.
    EXPECT_EQ(stringForBytes((1ULL << 40) + (1ULL << 19)), "1.000 TB");
    EXPECT_EQ(stringForBytes(1ULL << 50), "Really Big");
}

TEST(StringExtensionsTest, LooseSpacesAndXmlStart)
{
    EXPECT_EQ(regexWithLooseSpaces("AllowOverride None"), "\\s*AllowOverride\\s+None");
    EXPECT_EQ(regexWithLooseSpaces("a  b"), "\\s*a\\s+\\s+b");
    EXPECT_EQ(stripHeaders(std::string_view("HTTP/1.0 200 OK\r\n\r\n<?xml version")), "<?xml version");
}

TEST(StringExtensionsTest, HeaderStrippingLooksAtTheFirst511BytesOnly)
{
    std::string reply = "HTTP/1.0 200 OK\r\nServer: x\r\n\r\nbody";
    stripHeaders(reply);
    EXPECT_EQ(reply, "body");

    std::string late = "HTTP/1.0 200 OK\r\nX: " + std::string(600, 'a') + "\r\n\r\nbody";
    std::string unchanged = late;
    stripHeaders(late);
    EXPECT_EQ(late, unchanged);

    // The exact edge: a header block of 511 bytes (its blank line ending on
    // the last byte looked at) is removed, one of 512 is not.
    auto headerOf = [](std::size_t length) {
        std::string start = "HTTP/1.0 200 OK\r\nX: ";
        return start + std::string(length - start.size() - 4, 'a') + "\r\n\r\n";
    };
    std::string edge = headerOf(511) + "body";
    ASSERT_EQ(edge.find("\r\n\r\n") + 4, 511u);
    stripHeaders(edge);
    EXPECT_EQ(edge, "body");
    std::string past = headerOf(512) + "body";
    stripHeaders(past);
    EXPECT_EQ(past, headerOf(512) + "body");

    std::string withNul = std::string("HTTP\0/1.0\r\n\r\nbody", 18);
    std::string copy = withNul;
    stripHeaders(withNul);
    EXPECT_EQ(withNul, copy);
}

TEST(StringExtensionsTest, GlobNeedsAnAbsolutePatternAndNeverEchoesIt)
{
    TempDir dir;
    dir.write("logs/error_log", "");
    dir.write("logs/access_log", "");
    EXPECT_FALSE(glob("logs/*").has_value());
    auto absolute = glob(dir.path() + "/logs/*_log");
    ASSERT_TRUE(absolute);
    EXPECT_EQ(absolute->size(), 2u);
    auto relative = globRelativeTo("logs/e*", dir.path());
    ASSERT_EQ(relative.size(), 1u);
    EXPECT_EQ(relative[0], dir.path() + "/logs/error_log");
    EXPECT_TRUE(globRelativeTo("nothing/*", dir.path()).empty());
}

TEST(StringExtensionsTest, PathComponentsSplitAndJoinLikeThePlatform)
{
    EXPECT_EQ(stringByAppendingPathComponent("/a/", "b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("", "/a"), "/a");
    EXPECT_EQ(stringByAppendingPathComponent("/srv", "/Data/Sites"), "/srv/Data/Sites");
    EXPECT_EQ(pathComponents("/Volumes/Data/"), (std::vector<std::string>{"/", "Volumes", "Data"}));
    EXPECT_EQ(pathWithComponents({"/", "Data", "Sites"}), "/Data/Sites");
    EXPECT_EQ(lastPathComponent("/a/b/"), "b");
    EXPECT_EQ(lastPathComponent("/"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("/private/etc/apache2/httpd.conf"), "/private/etc/apache2");
    EXPECT_EQ(stringByDeletingLastPathComponent("/etc/apache2/"), "/etc");
    EXPECT_EQ(stringByDeletingLastPathComponent("/httpd.conf"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("/"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("apache2.conf"), "");
    EXPECT_EQ(stringByDeletingLastPathComponent("conf//apache2.conf"), "conf");
}

TEST(CollectionExtensionsTest, BoolForKeyTakesOnlyExactYes)
{
    KLPlist::Dictionary d{{"s", "yes"}, {"S", "YES"}, {"n", 2}, {"a", KLPlist::Array{}}};
    EXPECT_FALSE(boolForKey(d, "s"));
    EXPECT_TRUE(boolForKey(d, "S"));
    EXPECT_TRUE(boolForKey(d, "n"));
    EXPECT_FALSE(boolForKey(d, "a", true));
    EXPECT_TRUE(boolForKey(d, "missing", true));
    setBoolValue(d, true, "set");
    EXPECT_EQ(d["set"], KLPlist(true));
}

TEST(CollectionExtensionsTest, FlattenSkipsNonDictionaries)
{
    KLPlist::Array rows{KLPlist(KLPlist::Dictionary{{"user", "bob"}}), KLPlist("stray"),
                        KLPlist(KLPlist::Dictionary{{"user", "al"}})};
    EXPECT_EQ(flattenedStringsWithKey(rows, "user"), (std::vector<std::string>{"bob", "al"}));
    KLPlist::Array broken{KLPlist(KLPlist::Dictionary{{"name", "x"}})};
    EXPECT_THROW(flattenedArrayWithKey(broken, "user"), std::invalid_argument);
}

TEST(CollectionExtensionsTest, IntersectionDropsDuplicates)
{
    auto both = intersectionWith({"a", "b", "b", "c"}, {"b", "c", "c", "d"});
    std::sort(both.begin(), both.end());
    EXPECT_EQ(both, (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(intersectionWithSet({"a", "b"}, {"b"}), (std::set<std::string>{"b"}));
}

TEST(CollectionExtensionsTest, UserOrderFollowsTheCaseSetting)
{
    auto& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setApplicationIdentifier("test.case-compare");
    KLPlist alice(KLPlist::Dictionary{{"user", "alice"}});
    KLPlist bob(KLPlist::Dictionary{{"user", "Bob"}});
    defaults.setBool(false, "Case Sensitive Compare");
    EXPECT_EQ(compareOnUsername(alice, bob), -1);
    EXPECT_EQ(compareUsernames("ALICE", "alice"), 0);
    defaults.setBool(true, "Case Sensitive Compare");
    EXPECT_EQ(compareOnUsername(alice, bob), 1);
    EXPECT_EQ(compareOnUsername(alice, bob, false), -1);
}

TEST(CollectionExtensionsTest, SortOrderReadsTheCaseSettingOnceWhenMade)
{
    auto& defaults = KLUserDefaults::standardUserDefaults();
    defaults.setApplicationIdentifier("test.case-order");
    const KLPlist::Array records{KLPlist(KLPlist::Dictionary{{"user", "carol"}}),
                                 KLPlist(KLPlist::Dictionary{{"user", "Bob"}}),
                                 KLPlist(KLPlist::Dictionary{{"user", "alice"}})};
    const std::vector<std::string> ignoringCase{"alice", "Bob", "carol"};
    const std::vector<std::string> byCase{"Bob", "alice", "carol"};
    auto sorted = [&](const auto& order) {
        KLPlist::Array list = records;
        std::stable_sort(list.begin(), list.end(), order);
        return flattenedStringsWithKey(list, "user");
    };

    defaults.setBool(false, "Case Sensitive Compare");
    auto before = usernameOrder();
    EXPECT_EQ(sorted(before), ignoringCase);
    defaults.setBool(true, "Case Sensitive Compare");
    // A new sort follows the setting; an order already made keeps what it read.
    EXPECT_EQ(sorted(usernameOrder()), byCase);
    EXPECT_EQ(sorted(before), ignoringCase);
    defaults.setBool(false, "Case Sensitive Compare");
    EXPECT_EQ(sorted(usernameOrder()), ignoringCase);
}

} // namespace
