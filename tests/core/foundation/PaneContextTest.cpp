#include "FendrelPref.h"
#include "KLUserDefaults.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// The locations follow the settings of the shared store; each test sets what it needs.
class PaneContextTest : public ::testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", GetParam(), 1);
        pref = std::make_unique<FendrelPref>();
        FendrelPref::setSharedInstance(pref.get());
    }
    void TearDown() override
    {
        for (const char* key : {"Fendrel Protected Folder", "Web Dir", "stripVolumesFromFendrelFolder",
                                "fendrelFolderPrefix"})
            defaults().removeDefaultForKey(key);
        pref.reset();
        ::unsetenv("FENDREL_LAYOUT");
    }
    static KLUserDefaults& defaults() { return KLUserDefaults::standardUserDefaults(); }
    std::string personal() const
    {
        return std::getenv("HOME") + std::string(GetParam() == std::string("macos") ? "/Sites" : "/public_html");
    }

    std::unique_ptr<FendrelPref> pref;
};

TEST_P(PaneContextTest, LocationsFollowTheLayoutTheStoredChoiceAndTheWebServerView)
{
    std::string shared = GetParam() == std::string("macos") ? "/Library/WebServer/Documents/" : "/var/www/html/";
    defaults().setObject(KLPlist("/srv/custom"), "Web Dir");
    // choice stored (0: none), which location, expected (empty: none)
    const std::tuple<int, int, std::string> cases[] = {
        {0, 4, personal()}, {0, 1, personal() + "/.htusers"}, {0, 3, personal() + "/.htgroups"}, {0, 2, ""},
        {0, 0, ""}, {1, 1, shared + ".htusers"}, {2, 3, "/srv/custom/.htgroups"}};
    for (const auto& [choice, which, expected] : cases) {
        if (choice)
            defaults().setInteger(choice, "Fendrel Protected Folder");
        EXPECT_EQ(pref->fendrelLocation(which).value_or(""), expected) << choice << " " << which;
    }
    defaults().setInteger(2, "Fendrel Protected Folder");
    // setting changed before, location asked for, what the web server sees
    const std::tuple<std::function<void()>, int, std::optional<std::string>> steps[] = {
        {[] { defaults().setObject(KLPlist("/Volumes/Data/Sites"), "Web Dir"); }, 4, "/Volumes/Data/Sites"},
        {[] { defaults().setBool(true, "stripVolumesFromFendrelFolder"); }, 4, "/Data/Sites"},
        {[] {}, 1, "/Data/Sites/.htusers"},
        {[] { defaults().setObject(KLPlist("/srv"), "fendrelFolderPrefix"); }, 4, "/srv/Data/Sites"},
        {[] { defaults().setObject(KLPlist("/Data/Volumes/x"), "Web Dir"); }, 4, "/srv/Data/Volumes/x"},
        {[] {}, 7, std::nullopt}};
    for (const auto& [change, which, expected] : steps) {
        change();
        EXPECT_EQ(pref->adjustedFendrelLocation(which), expected) << which;
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, PaneContextTest, ::testing::Values("macos", "debian"));

} // namespace
