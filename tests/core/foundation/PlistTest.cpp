#include "KLPlist.h"
#include "KLPlistNesting.h"

#include <gtest/gtest.h>

namespace {

std::string nestedXML(int depth, const std::string& open = "<array>", const std::string& close = "</array>")
{
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
    for (int i = 0; i < depth; ++i)
        xml += open;
    xml += "<string>deep</string>";
    for (int i = 0; i < depth; ++i)
        xml += close;
    return xml + "</plist>\n";
}

void appendBigEndian(std::string& out, std::uint64_t value, int size)
{
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8)
        out += static_cast<char>((value >> shift) & 0xFF);
}

// Binary arrays each holding the next, the last empty; by hand, as libplist's writer recurses too.
std::string nestedBinary(int depth)
{
    std::string bytes = "bplist00";
    for (int i = 0; i + 1 < depth; ++i) {
        bytes += '\xA1';
        appendBigEndian(bytes, static_cast<std::uint64_t>(i + 1), 4);
    }
    bytes += '\xA0';
    std::uint64_t table = bytes.size();
    for (int i = 0; i < depth; ++i)
        appendBigEndian(bytes, static_cast<std::uint64_t>(8 + 5 * i), 4); // each array takes five bytes
    bytes += std::string(6, '\0') + "\x04\x04"; // offset and reference sizes
    appendBigEndian(bytes, static_cast<std::uint64_t>(depth), 8);
    appendBigEndian(bytes, 0, 8); // root
    appendBigEndian(bytes, table, 8);
    return bytes;
}

KLPlist nested(int depth, KLPlist inner)
{
    for (int i = 0; i < depth; ++i)
        inner = KLPlist::Array{inner};
    return inner;
}

TEST(PlistTest, XmlRoundTripKeepsEveryKindAndReadingsFollowThePlatform)
{
    KLPlist::Dictionary dict{{"string", "h\xC3\xA9llo <&>"}, {"int", -42}, {"big", 1LL << 40}, {"real", 0.25},
                             {"yes", true}, {"no", false}, {"data", KLPlist::Data{0, 10, 255}},
                             {"date", KLPlist::Date{700000000.0}},
                             {"array", KLPlist::Array{KLPlist("a"), KLPlist(1), KLPlist(KLPlist::Array{})}},
                             {"dict", KLPlist::Dictionary{{"inner", "x"}}}};
    EXPECT_EQ(KLPlist::fromXML(KLPlist(dict).toXML()), KLPlist(dict));
    const std::pair<KLPlist, std::optional<long long>> integers[] = {{KLPlist("  42 apples"), 42}, {KLPlist("apples"), 0},
                                                                     {KLPlist(2.9), 2}};
    for (const auto& [value, expected] : integers)
        EXPECT_EQ(value.integerReading(), expected) << value.description();
    const std::pair<KLPlist, std::optional<bool>> bools[] = {
        {KLPlist("yes"), true}, {KLPlist("00"), false}, {KLPlist("-3"), true}, {KLPlist(KLPlist::Array{}), std::nullopt}};
    for (const auto& [value, expected] : bools)
        EXPECT_EQ(value.boolReading(), expected) << value.description();
    EXPECT_EQ(std::pair(KLPlist(true).description(), KLPlist(KLPlist::Array{KLPlist("a"), KLPlist(2)}).description()),
              std::pair(std::string("1"), std::string("(a, 2)")));
}

TEST(PlistTest, GarbageAndDeepNestingAreRefusedBeforeAnythingRecurses)
{
    for (const char* text : {"", "<html><body>404</body></html>", "<?xml version=\"1.0\"?><plist><dict><key>a</key>"})
        EXPECT_FALSE(KLPlist::fromXML(text)) << text;
    EXPECT_FALSE(KLPlist::fromBytes("bplist00" + std::string(64, '\xA5')));
    // Without the limit these overflow the stack: libplist and our conversion recurse per level.
    const int max = KLPlistNesting::kMaxDepth;
    for (const std::string& refused : {nestedXML(100000), nestedXML(100000, "<dict><key>k</key>", "</dict>"),
                                       nestedBinary(100000), nestedXML(max + 1), nestedBinary(max + 1)})
        EXPECT_FALSE(KLPlist::fromBytes(refused));
    EXPECT_FALSE(KLPlist::fromXML(nestedXML(max + 1)));
    EXPECT_EQ(KLPlist::fromBytes(nestedXML(max)), nested(max, KLPlist("deep")));
    EXPECT_EQ(KLPlist::fromBytes(nestedBinary(max)), nested(max - 1, KLPlist::Array{}));
}

TEST(PlistTest, NestingLookCountsOnlyRealLevelsAndRefusesWhatItCannotFollow)
{
    const int limit = 3;
    // Empty containers, other elements and tags in comments, character data or attributes add no level.
    EXPECT_TRUE(KLPlistNesting::xmlIsWithin(nestedXML(3), limit));
    EXPECT_TRUE(KLPlistNesting::xmlIsWithin("<plist><array><array/><array/><dict/><array/></array></plist>", 2));
    EXPECT_TRUE(KLPlistNesting::xmlIsWithin(nestedXML(3, "<array><string>x</string>", "</array>"), limit));
    // A closing tag where the parser sees none must not hide a level.
    for (const std::string& hide : {std::string("<!-- </array> -->"), std::string("<![CDATA[</array>]]>"),
                                     std::string("<string a=\"</array>\">x</string>")}) {
        EXPECT_FALSE(KLPlistNesting::xmlIsWithin(nestedXML(4, "<array>" + hide, "</array>"), limit)) << hide;
        EXPECT_TRUE(KLPlistNesting::xmlIsWithin(nestedXML(3, "<array>" + hide, "</array>"), limit)) << hide;
    }
    EXPECT_FALSE(KLPlistNesting::xmlIsWithin(nestedXML(4, "<array >", "</array >"), limit));
    EXPECT_FALSE(KLPlistNesting::xmlIsWithin(nestedXML(4, "<dict>", "</dict>"), limit));
    EXPECT_TRUE(KLPlistNesting::binaryIsWithin(nestedBinary(3), limit));
    EXPECT_FALSE(KLPlistNesting::binaryIsWithin(nestedBinary(4), limit));
    // An array that holds itself nests without end.
    std::string cycle = nestedBinary(2);
    cycle[8 + 1 + 3] = '\0'; // the first array now refers to object 0
    EXPECT_FALSE(KLPlistNesting::binaryIsWithin(cycle));
    EXPECT_FALSE(KLPlist::fromBytes(cycle));
    // A reference past the last object, and a trailer whose table lies outside the file.
    std::string dangling = nestedBinary(2);
    dangling[8 + 1 + 3] = '\x07';
    EXPECT_FALSE(KLPlistNesting::binaryIsWithin(dangling));
    std::string outside = nestedBinary(2);
    outside[outside.size() - 1] = '\x7F';
    EXPECT_FALSE(KLPlistNesting::binaryIsWithin(outside));
}

} // namespace
