#include "FileSizeLimit.h"
#include "KLAssert.h"
#include "KLAtomicFile.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

// Each test uses its own domain so nothing leaks between tests of one process.
class UserDefaultsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        domain = std::string("test.") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
        defaults().setApplicationIdentifier(domain);
    }
    static KLUserDefaults& defaults() { return KLUserDefaults::standardUserDefaults(); }
    std::string domain;
};

TEST_F(UserDefaultsTest, StoredValuesWinOverDefaultsAndSurviveTheFile)
{
    defaults().registerDefaults({{"Sort Users", false}, {"Apache Site Port", "80"}, {"b", 2}});
    defaults().registerDefaults({{"b", 3}, {"c", 4}});
    EXPECT_EQ(std::tuple(defaults().objectForKey("Apache Site Port"), defaults().integerForKey("b"),
                         defaults().integerForKey("c"), defaults().boolForKey("Sort Users")),
              std::tuple(KLPlist("80"), 3, 4, false));
    ASSERT_TRUE(defaults().setObject(KLPlist("8080"), "Apache Site Port"));
    EXPECT_EQ(defaults().stringForKey("Apache Site Port"), "8080");
    ASSERT_TRUE(defaults().removeDefaultForKey("Apache Site Port"));
    EXPECT_EQ(defaults().stringForKey("Apache Site Port"), "80");
    EXPECT_TRUE(defaults().objectForKey("Never Registered").isNull());

    KLPlist::Dictionary stored{{"stored", "stored"}, {"int", -7}, {"array", KLPlist::stringArray({"x"})}};
    for (const auto& [key, value] : stored)
        defaults().setObject(value, key);
    std::string path = defaults().preferencesPath();
    EXPECT_EQ(KLPlist::fromXML(readFile(path)), KLPlist(stored));
    // Another process replaces the file.
    ASSERT_TRUE(KLAtomicFile::write(path, KLPlist(KLPlist::Dictionary{{"shared", 2}}).toXML()));
    EXPECT_EQ(defaults().integerForKey("shared"), 2);
}

TEST_F(UserDefaultsTest, TypedValuesAreReadAsStoredAndNullIsRefused)
{
    for (const auto& [key, value] : KLPlist::Dictionary{{"number text", "12abc"}, {"yes text", "YES"}, {"no text", "no"},
                                                         {"array", KLPlist::stringArray({"x"})}})
        defaults().setObject(value, key);
    defaults().setDouble(2.5, "real");
    EXPECT_EQ(std::tuple(defaults().integerForKey("number text"), defaults().integerForKey("array"),
                         defaults().integerForKey("real")),
              std::tuple(12, 0, 2));
    EXPECT_EQ(std::pair(defaults().boolForKey("yes text"), defaults().boolForKey("no text")), std::pair(true, false));
    EXPECT_FALSE(defaults().stringForKey("real").has_value() || defaults().arrayForKey("real").has_value());
    EXPECT_EQ(defaults().arrayForKey("array")->size(), 1u);
    EXPECT_DOUBLE_EQ(defaults().doubleForKey("real"), 2.5);
    EXPECT_FLOAT_EQ(defaults().floatForKey("real"), 2.5f);
    // A null value is a programming error and stores nothing.
    defaults().setInteger(5, "kept");
    try {
        defaults().setObject(KLPlist(), "kept");
        FAIL() << "no assertion raised";
    } catch (const KLInvalidParameter& e) {
        EXPECT_EQ(std::string(e.what()),
                  "Invalid parameter not satisfying: [value isKindOfClass:[NSString class]] || [value "
                  "isKindOfClass:[NSData class]] || [value isKindOfClass:[NSNumber class]] || [value "
                  "isKindOfClass:[NSDate class]] || [value isKindOfClass:[NSArray class]] || [value "
                  "isKindOfClass:[NSDictionary class]]");
    }
    EXPECT_EQ(defaults().integerForKey("kept"), 5);
}

TEST_F(UserDefaultsTest, DamagedFilesAreKeptAsideAndFailedWritesKeepTheOldValue)
{
    defaults().registerDefaults({{"Sort Users", false}});
    std::string path = defaults().preferencesPath();
    std::filesystem::path folder = std::filesystem::path(path).parent_path();
    std::filesystem::create_directories(folder);
    // A file cut short is kept aside and then replaced.
    const std::string damaged = "<?xml version=\"1.0\"?><plist><dict><key>Sort Users</key><tru";
    ASSERT_TRUE(KLAtomicFile::write(path, damaged));
    EXPECT_FALSE(defaults().boolForKey("Sort Users"));
    int keptAside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with(domain + ".plist.corrupt-")) {
            ++keptAside;
            EXPECT_EQ(readFile(entry.path()), damaged);
            std::filesystem::remove(entry.path());
        }
    }
    EXPECT_EQ(keptAside, 1);
    EXPECT_TRUE(defaults().setBool(true, "Sort Users"));
    EXPECT_TRUE(defaults().boolForKey("Sort Users"));
    // A failed write reports false and keeps the old value.
    defaults().setInteger(1, "value");
    std::string before = readFile(path);
    {
        FileSizeLimit limit(4096);
        EXPECT_FALSE(defaults().setObject(KLPlist(std::string(10000, 'x')), "value"));
    }
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(defaults().integerForKey("value"), 1);
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()))
        EXPECT_FALSE(entry.path().filename().string().starts_with(domain + ".plist.")) << entry.path();
}

} // namespace
