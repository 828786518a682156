#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLBundle.h"
#include "KLLog.h"

#include <gtest/gtest.h>

namespace {

class ErrorsTest : public ::testing::Test {
protected:
    void SetUp() override {
        KLSetLogSink([this](const std::string& line) { log.push_back(line); });
        pref.initWithBundle(KLBundle::main());
        FendrelPrefOutlets outlets;
        outlets.alerts = &alerts;
        pref.setOutlets(outlets);
    }
    void TearDown() override { KLSetLogSink(nullptr); }

    FendrelPref pref;
    FakeAlerts alerts;
    std::vector<std::string> log;
};

TEST_F(ErrorsTest, TableComesFromTheBundleWithIndexZeroUnused) {
    ASSERT_GE(pref.errors().size(), 2u);
    EXPECT_EQ(pref.errors()[0], "");
    EXPECT_NE(pref.errors()[1].find("WebCheck"), std::string::npos);
    EXPECT_EQ(FendrelPref::sharedInstance(), &pref);
}

TEST_F(ErrorsTest, KnownCodeIsLoggedAndShownWithItsText) {
    pref.displayError(1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "[Fendrel] Error 1: " + pref.errors()[1]);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].title, "An Error Occured");
    EXPECT_EQ(alerts.shown[0].defaultButton, "OK");
    EXPECT_EQ(alerts.shown[0].message, "An error was encountered by Fendrel in phase 1: " + pref.errors()[1]);
    EXPECT_EQ(alerts.shown[0].context, "known error");
    alerts.answer(1); // the end handler does nothing
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(ErrorsTest, NegativeCodeLogsItsAbsoluteEntryButIsUnknown) {
    ASSERT_GT(pref.errors().size(), 3u);
    pref.displayError(-3);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "[Fendrel] Error -3: " + pref.errors()[3]);
    ASSERT_EQ(alerts.shown.size(), 1u);
    EXPECT_EQ(alerts.shown[0].title, "An Error Occured");
    EXPECT_EQ(alerts.shown[0].message, "An unknown error occured");
    EXPECT_EQ(alerts.shown[0].context, "unknown error");
}

TEST_F(ErrorsTest, CodesAtOrPastTheTableAreUnknownAndZeroIsNothing) {
    pref.displayError(0);
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(alerts.shown.empty());

    int count = static_cast<int>(pref.errors().size());
    pref.displayError(count);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "[Fendrel] Error " + std::to_string(count) + ": ");
    EXPECT_EQ(alerts.shown.back().message, "An unknown error occured");

    pref.displayError(count - 1);
    EXPECT_NE(alerts.shown.back().message, "An unknown error occured");

    pref.displayError(std::numeric_limits<int>::min());
    EXPECT_EQ(alerts.shown.back().message, "An unknown error occured");
}

TEST_F(ErrorsTest, WithoutTheResourceEveryCodeIsUnknown) {
    ::setenv("FENDREL_RESOURCES", "/nonexistent", 1);
    FendrelPref bare;
    bare.initWithBundle(KLBundle::main());
    ::unsetenv("FENDREL_RESOURCES");
    FendrelPrefOutlets outlets;
    outlets.alerts = &alerts;
    bare.setOutlets(outlets);
    EXPECT_TRUE(bare.errors().empty());
    bare.displayError(1);
    EXPECT_EQ(log.back(), "[Fendrel] Error 1: ");
    EXPECT_EQ(alerts.shown.back().message, "An unknown error occured");
}

TEST_F(ErrorsTest, DividerLimitsMoveTheProposedCoordinate) {
    EXPECT_EQ(pref.constrainMinCoordinate(100, 0), 170);
    EXPECT_EQ(pref.constrainMaxCoordinate(500, 1), 360);
}

} // namespace
