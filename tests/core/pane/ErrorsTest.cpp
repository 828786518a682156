#include "PaneFixture.h"

namespace {

TEST_F(PaneTest, KnownCodesAreLoggedAndShownWithTheirTextOthersAsUnknown)
{
    wake();
    log.clear();
    const std::vector<std::string>& errors = pref->errors();
    ASSERT_GT(errors.size(), 3u);
    const int count = static_cast<int>(errors.size());
    const std::string unknown = "An unknown error occured";
    const struct {
        int code;
        std::string logged, message, context;
    } cases[] = {
        {1, "[Fendrel] Error 1: " + errors[1], "An error was encountered by Fendrel in phase 1: " + errors[1],
         "known error"},
        {-3, "[Fendrel] Error -3: " + errors[3], unknown, "unknown error"}, // logs its absolute entry
        {count, "[Fendrel] Error " + std::to_string(count) + ": ", unknown, "unknown error"},
        {count - 1, "[Fendrel] Error " + std::to_string(count - 1) + ": " + errors.back(), "", "known error"},
        {std::numeric_limits<int>::min(), "", unknown, "unknown error"},
    };
    for (const auto& c : cases) {
        log.clear();
        alerts.shown.clear();
        pref->displayError(c.code);
        ASSERT_EQ(alerts.shown.size(), 1u) << c.code;
        const KLAlert& a = alerts.shown[0];
        EXPECT_EQ(std::tuple(a.title, a.defaultButton, a.context), std::tuple("An Error Occured", "OK", c.context));
        EXPECT_TRUE(c.message.empty() ? a.message != unknown : a.message == c.message) << c.code << a.message;
        ASSERT_EQ(log.size(), 1u) << c.code;
        EXPECT_TRUE(c.logged.empty() || log[0] == c.logged) << log[0];
        alerts.answer(1); // the end handler does nothing
        EXPECT_EQ(log.size(), 1u);
    }
    log.clear();
    pref->displayError(0);
    EXPECT_EQ(std::pair(log.size(), alerts.shown.size()), std::pair(std::size_t{0}, std::size_t{1})); // code zero shows nothing new

    // Without the resource every code is unknown.
    ::setenv("FENDREL_RESOURCES", "/nonexistent", 1);
    FendrelPref bare;
    bare.initWithBundle(KLBundle::main());
    ::unsetenv("FENDREL_RESOURCES");
    bare.setOutlets(o);
    EXPECT_TRUE(bare.errors().empty());
    bare.displayError(1);
    EXPECT_EQ(std::pair(log.back(), alerts.shown.back().message), std::pair(std::string("[Fendrel] Error 1: "), unknown));
    // The divider limits move the proposed coordinate.
    EXPECT_EQ(std::pair(pref->constrainMinCoordinate(100, 0), pref->constrainMaxCoordinate(500, 1)), std::pair(170.0, 360.0));
}

} // namespace
