#include "PaneFixture.h"

#include <ctime>

namespace {

// 2023-06-15 21:05:30 in New York (EDT), in seconds since 2001-01-01 UTC.
constexpr double kNow = 708570330.0;

class LastCheckTest : public PaneTest {
protected:
    void SetUp() override {
        PaneTest::SetUp();
        const char* tz = std::getenv("TZ");
        savedTZ = tz ? std::optional<std::string>(tz) : std::nullopt;
        ::setenv("TZ", "America/New_York", 1);
        ::tzset();
        wake();
        pref->setClock([] { return kNow; });
    }
    void TearDown() override {
        if (savedTZ)
            ::setenv("TZ", savedTZ->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
        PaneTest::TearDown();
    }
    std::string shown(double seconds) {
        pref->setSecondsSinceCheck(seconds);
        return lastCheckText.value;
    }
    std::optional<std::string> savedTZ;
};

TEST_F(LastCheckTest, RecentChecksSayTodayOrYesterday) {
    EXPECT_EQ(shown(kNow - 30), "Last Check: Today at 9:05 PM");
    EXPECT_EQ(defaults().doubleForKey("Last Version Check"), kNow - 30);
    EXPECT_EQ(shown(708494400.0), "Last Check: Today at 12:00 AM");          // midnight today
    EXPECT_EQ(shown(708494400.0 - 1), "Last Check: Yesterday at 11:59 PM");
    EXPECT_EQ(shown(708436800.0), "Last Check: Yesterday at 8:00 AM");
    EXPECT_EQ(shown(708408000.0 - 1), "Last Check: June 13 at 11:59 PM"); // before yesterday
}

TEST_F(LastCheckTest, OlderChecksShowTheDateAndLastYearTheYear) {
    EXPECT_EQ(shown(707317500.0), "Last Check: June 1 at 9:05 AM");
    EXPECT_EQ(shown(676143900.0), "Last Check: June 5, 2022 at 1:45 PM");
    // The year is counted from the end of November before it, as built.
    EXPECT_EQ(shown(692809200.0), "Last Check: December 15 at 10:00 AM");
    EXPECT_EQ(shown(691473600.0), "Last Check: November 29, 2022 at 11:00 PM");
}

TEST_F(LastCheckTest, ZeroMeansNeverAndIsStored) {
    shown(kNow);
    EXPECT_EQ(shown(0), "Last Check: never");
    EXPECT_EQ(defaults().doubleForKey("Last Version Check"), 0);
}

} // namespace
