#include "ApacheSandbox.h"
#include "ServerE2ETest.h"
#include <fstream>

#include <algorithm>
#include <filesystem>

namespace {

using FindLogsTest = ServerE2ETest;

std::vector<std::string> sorted(std::vector<std::string> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

TEST_F(FindLogsTest, DebiansOwnTreeNamesNoQuotedLog)
{
    if (!std::filesystem::exists("/etc/apache2/apache2.conf"))
        GTEST_SKIP() << "Debian's apache2 is not installed";
    // Its Includes and log paths are unquoted (and built from variables), so
    // only the unquoted rule applies: nothing is followed or listed.
    KLApacheController& controller = make("/etc/apache2/", "apache2.conf");
    waitForLogs();
    EXPECT_TRUE(controller.logs().empty());
    EXPECT_FALSE(logPicker.isEnabled());

    // Listing the log folder instead finds what is there.
    KLUserDefaults::standardUserDefaults().setBool(true, "Override Log Directory");
    KLUserDefaults::standardUserDefaults().setObject("/var/log/apache2/", "Apache Log Directory");
    std::vector<std::string> present;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/var/log/apache2", ec)) {
        if (!entry.path().filename().string().ends_with("gz"))
            present.push_back(entry.path().string());
    }
    KLApacheController& listing = make("/etc/apache2/", "apache2.conf");
    EXPECT_EQ(sorted(listing.logs()), sorted(present));
    EXPECT_EQ(logPicker.isEnabled(), !present.empty());
}

TEST_F(FindLogsTest, NestedQuotedIncludesListTheLogsApacheWrites)
{
    ApacheSandbox apache;
    if (!ApacheSandbox::available())
        GTEST_SKIP() << "Apache 2.4 is not installed";
    const std::string root = apache.serverRoot();
    std::filesystem::create_directories(root + "/logs");
    auto put = [&](const std::string& name, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(root + "/" + name).parent_path());
        std::ofstream(root + "/" + name) << text;
    };
    put("conf.d/a.conf", "CustomLog \"" + root + "/logs/access log\" common\n"
                         "# CustomLog \"" + root + "/logs/commented_log\" common\n"
                         "CustomLog " + root + "/logs/unquoted_log common\n"
                         "IncludeOptional \"" + root + "/nested/*.conf\"\n");
    put("nested/b.conf", "  CustomLog \"" + root + "/logs/nested_log\" common\n");
    put("logs/commented_log", "");
    apache.setExtraConfig("Include \"" + root + "/conf.d/*.conf\"\n");
    ASSERT_TRUE(apache.start()) << apache.error();
    ASSERT_NE(apache.status("/"), 0);
    apache.stop();

    KLApacheController& controller = make(root, "apache2.conf");
    waitForLogs();
    // The unquoted logs exist (Apache wrote them: the installed ErrorLog
    // names its file without quotes) but are not followed; the commented one
    // is not either.
    EXPECT_TRUE(std::filesystem::exists(root + "/logs/unquoted_log"));
    EXPECT_TRUE(std::filesystem::exists(apache.errorLogPath()));
    EXPECT_EQ(sorted(controller.logs()), sorted({root + "/logs/access log", root + "/logs/nested_log"}));
    for (const std::string& log : controller.logs())
        EXPECT_TRUE(std::filesystem::exists(log)) << log;
    EXPECT_EQ(logPicker.numberOfItems(), 2);
}

} // namespace
