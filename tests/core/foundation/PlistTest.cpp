#include "KLPlist.h"

#include <gtest/gtest.h>

namespace {

TEST(PlistTest, XmlRoundTripKeepsEveryKind)
{
    KLPlist::Dictionary dict{
        {"string", "h\xC3\xA9llo <&>"},
        {"int", -42},
        {"big", 1LL << 40},
        {"real", 0.25},
        {"yes", true},
        {"no", false},
        {"data", KLPlist::Data{0, 10, 255}},
        {"date", KLPlist::Date{700000000.0}},
        {"array", KLPlist::Array{KLPlist("a"), KLPlist(1), KLPlist(KLPlist::Array{})}},
        {"dict", KLPlist::Dictionary{{"inner", "x"}}},
    };
    auto back = KLPlist::fromXML(KLPlist(dict).toXML());
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, KLPlist(dict));
}

TEST(PlistTest, GarbageIsNoPropertyList)
{
    EXPECT_FALSE(KLPlist::fromXML(""));
    EXPECT_FALSE(KLPlist::fromXML("<html><body>404</body></html>"));
    EXPECT_FALSE(KLPlist::fromXML("<?xml version=\"1.0\"?><plist><dict><key>a</key>"));
    std::string binary(4096, '\0');
    for (std::size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<char>((i * 7919) & 0xFF);
    EXPECT_FALSE(KLPlist::fromBytes(binary));
}

TEST(PlistTest, ReadingsFollowThePlatformConversions)
{
    EXPECT_EQ(KLPlist("  42 apples").integerReading(), 42);
    EXPECT_EQ(KLPlist("apples").integerReading(), 0);
    EXPECT_EQ(KLPlist("yes").boolReading(), true);
    EXPECT_EQ(KLPlist("00").boolReading(), false);
    EXPECT_EQ(KLPlist("-3").boolReading(), true);
    EXPECT_EQ(KLPlist(2.9).integerReading(), 2);
    EXPECT_FALSE(KLPlist(KLPlist::Array{}).boolReading().has_value());
    EXPECT_EQ(KLPlist(true).description(), "1");
    EXPECT_EQ(KLPlist(KLPlist::Array{KLPlist("a"), KLPlist(2)}).description(), "(a, 2)");
}

} // namespace
