#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLStringExtensions.h"
#include "ServerTestSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace {

using ApacheConfigTest = ApacheControllerTest;

std::vector<std::string> sorted(std::vector<std::string> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

// Runs `fn` and counts the log lines it writes that begin with `start`.
long loggedLines(const std::string& start, const std::function<void()>& fn)
{
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& line) { lines.push_back(line); });
    fn();
    KLSetLogSink(nullptr);
    return std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.starts_with(start); });
}

TEST_F(ApacheConfigTest, ConfigurationLocationComesFromTheServerBinary)
{
    KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
    d.setBool(false, "Override Conf Directory Location");
    const struct {
        std::string report, dir, name;
    } cases[] = {
        {" -D HTTPD_ROOT=\"/usr\"\n -D SERVER_CONFIG_FILE=\"/private/etc/apache2/httpd.conf\"\n", "/private/etc/apache2",
         "httpd.conf"},
        // A relative value is not joined with the server root.
        {" -D HTTPD_ROOT=\"/etc/apache2\"\n -D SERVER_CONFIG_FILE=\"apache2.conf\"\n", "", "apache2.conf"},
        {"SERVER_CONFIG_FILE = \"conf/httpd.conf", "conf", "httpd.conf"},
        {"Server version: nothing else\n", "", ""},
    };
    for (const auto& c : cases) { // the report only answers "-V"
        std::string binary = script("httpd", "[ \"$1\" = -V ] && printf '%s' '" + c.report + "'\necho noise >&2\n");
        d.setObject(binary, "ApacheBinaryLocation");
        KLApacheController& controller = make();
        EXPECT_EQ(std::pair(controller.confFileDir(), controller.confFileName()), std::pair(c.dir, c.name)) << c.report;
    }
    d.setObject(dir.file("no-such-binary"), "ApacheBinaryLocation");
    EXPECT_EQ(make().httpdConfFile(), "");
}

TEST_F(ApacheConfigTest, OverriddenLocationAndUserFile)
{
    KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
    d.setObject("/etc/httpd/", "Apache Conf Directory");
    KLApacheController& controller = make();
    EXPECT_EQ(std::pair(controller.httpdConfFile(), controller.httpdConfRoot()),
              std::pair(std::string("/etc/httpd/httpd.conf"), std::string("/etc/httpd/")));
    const char* user = std::getenv("USER");
    if (user && *user) {
        EXPECT_EQ(controller.userConfFile(), "/etc/httpd/users/" + std::string(user) + ".conf");
    }
    EXPECT_TRUE(controller.userConfFile().starts_with("/etc/httpd/users/") && controller.userConfFile().ends_with(".conf"));
    d.setObject("people", "Apache User Conf Directory");
    EXPECT_TRUE(controller.userConfFile().starts_with("/etc/httpd/people/"));
    d.removeDefaultForKey("Apache User Conf Directory");
}

TEST_F(ApacheConfigTest, LogsComeFromQuotedDirectivesThroughNestedIncludes)
{
    const std::string logs = dir.mkdir("logs");
    for (const char* name : {"error_log", "access_log", "nested log", "unquoted_log", "included_log"})
        dir.write(std::string("logs/") + name, "x");
    const std::string root = dir.path();
    dir.write("httpd.conf", "ErrorLog \"" + logs + "/error_log\"\n"
                            "CustomLog \"" + logs + "/access_log\" common\n"
                            "CustomLog " + logs + "/unquoted_log common\n"
                            "CustomLog \"" + logs + "/missing_log\" common\n"
                            "# CustomLog \"" + logs + "/access_log\" commented\n"
                            "  Include \"" + root + "/conf.d/*.conf\"\n"
                            "Include " + root + "/conf.d/*.conf\n"
                            "Include \"conf.d/relative.conf\"\n");
    // a.conf includes its own folder again, and b.conf the main file: two cycles.
    dir.write("conf.d/a.conf", "IncludeOptional \"" + root + "/nested/b.conf\"\n"
                               "Include \"" + root + "/conf.d/*.conf\"\n");
    dir.write("nested/b.conf", "\tCustomLog \"" + logs + "/nested log\" combined\n"
                               "Include \"" + root + "/httpd.conf\"\n"
                               "ErrorLog \"" + logs + "/access_log\"\n");
    dir.write("conf.d/relative.conf", "ErrorLog \"" + logs + "/included_log\"\n");

    EXPECT_EQ(loggedLines("Include cycle: ", [&] { makeAwake(); }), 2);
    KLApacheController& controller = *this->controller;

    // relative.conf is reached from the main file and again from a.conf (no
    // cycle: listed twice); a.conf including itself and b.conf including the
    // main file are cycles.
    EXPECT_EQ(sorted(controller.logs()),
              sorted({logs + "/error_log", logs + "/access_log", logs + "/included_log", logs + "/included_log",
                      logs + "/nested log", logs + "/access_log"}));
    ASSERT_EQ(logPicker.items.size(), 6u);
    EXPECT_TRUE(logPicker.isEnabled() && logDisplayButton.isEnabled());
    for (std::size_t i = 0; i < logPicker.items.size(); ++i)
        EXPECT_EQ(std::pair(logPicker.items[i].title, logPicker.items[i].icon),
                  std::pair(lastPathComponent(controller.logs()[i]), controller.logs()[i]));
}

TEST_F(ApacheConfigTest, IncludeExplosionIsBoundedAndLogged)
{
    // Each file includes the next one twice: 2^30 scans unless bounded.
    dir.write("logs/l", "x");
    dir.write("httpd.conf", "Include \"" + dir.path() + "/f1.conf\"\n");
    for (int i = 1; i < 30; ++i) {
        std::string next = "Include \"" + dir.path() + "/f" + std::to_string(i + 1) + ".conf\"\n";
        dir.write("f" + std::to_string(i) + ".conf", next + next);
    }
    dir.write("f30.conf", "ErrorLog \"" + dir.path() + "/logs/l\"\n");
    EXPECT_EQ(loggedLines("Include limit reached at ", [&] { makeAwake(); }), 1);
}

TEST_F(ApacheConfigTest, WithoutAConfigurationNoLogIsFound)
{
    KLApacheController& controller = makeAwake();
    EXPECT_TRUE(controller.logs().empty());
    EXPECT_FALSE(logPicker.isEnabled() || logDisplayButton.isEnabled());
}

TEST_F(ApacheConfigTest, OverriddenLogDirectoryListsAllButCompressedLogs)
{
    KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
    d.setBool(true, "Override Log Directory");
    const std::string logs = dir.mkdir("logs");
    for (const char* name : {"error_log", "access_log.gz", "oldgz", ".hidden"})
        dir.write(std::string("logs/") + name, "x");
    d.setObject(logs + "/", "Apache Log Directory");
    logPicker.items.push_back({"stale", "", false});
    KLApacheController& controller = makeAwake();
    EXPECT_EQ(sorted(controller.logs()), sorted({logs + "/error_log", logs + "/.hidden"}));
    EXPECT_EQ(logPicker.numberOfItems(), 2);

    // Opening goes through the desktop; out of range does nothing.
    controller.openLogAtIndex(-1);
    controller.openLogAtIndex(2);
    EXPECT_TRUE(workspace.files.empty());
    logPicker.selectItemAtIndex(1);
    controller.displayLog();
    EXPECT_EQ(workspace.files, std::vector<std::string>{controller.logs()[1]});
}

TEST_F(ApacheConfigTest, RepairRewritesOnlyInsideTheLayoutsBlocks)
{
    const struct {
        std::string layout, input, expected;
        bool changed;
    } cases[] = {
        {"macos", "<Directory />\n  AllowOverride None\n</Directory>\nAllowOverride None",
         "<Directory />\n  AllowOverride All\n</Directory>\nAllowOverride None\n", true},
        // Before any block, after a block's end, and other values stay.
        {"macos", "AllowOverride None\n<Directory /x>\nAllowOverride  None # c\nAllowOverride FileInfo\n</Directory>\n",
         "AllowOverride None\n<Directory /x>\nAllowOverride All # c\nAllowOverride FileInfo\n</Directory>\n\n", true},
        {"macos", "<Directory \"/Library/WebServer/Documents\">\n\tAllowOverride None\r\n</Directory>\n",
         "<Directory \"/Library/WebServer/Documents\">\n\tAllowOverride All\r\n</Directory>\n\n", true},
        {"macos", "<Directory \"/Users/ann/Sites/\">\nAllowOverride None\n</Directory>",
         "<Directory \"/Users/ann/Sites/\">\nAllowOverride All\n</Directory>\n", true},
        {"macos", "<Directory \"/var/www/html\">\nAllowOverride None\n</Directory>",
         "<Directory \"/var/www/html\">\nAllowOverride None\n</Directory>\n", false},
        {"debian", "<Directory \"/var/www/html\">\nAllowOverride None\n</Directory>",
         "<Directory \"/var/www/html\">\nAllowOverride All\n</Directory>\n", true},
        {"debian", "<Directory \"/home/bob/public_html/\">\nAllowOverride None\n</Directory>",
         "<Directory \"/home/bob/public_html/\">\nAllowOverride All\n</Directory>\n", true},
        {"debian", "<Directory \"/Users/ann/Sites/\">\nAllowOverride None\n</Directory>",
         "<Directory \"/Users/ann/Sites/\">\nAllowOverride None\n</Directory>\n", false},
        // Every unquoted block counts as the root's.
        {"debian", "<Directory /var/www/>\nAllowOverride None\n</Directory>\n<DirectoryMatch \"x\">\nAllowOverride None\n",
         "<Directory /var/www/>\nAllowOverride All\n</Directory>\n<DirectoryMatch \"x\">\nAllowOverride None\n\n", true},
    };
    for (const auto& c : cases) {
        ::setenv("FENDREL_LAYOUT", c.layout.c_str(), 1);
        const std::string path = dir.write("repair.conf", c.input);
        TempDir out;
        const std::string outPath = out.file("out");
        int handle = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(handle, 0);
        EXPECT_EQ(make().grepFile(path, handle), c.changed) << c.layout << ": " << c.input;
        ::close(handle);
        EXPECT_EQ(readFile(outPath), c.expected) << c.layout << ": " << c.input;
    }
}

TEST_F(ApacheConfigTest, RepairHandsTheRewrittenCopyToTheHelper)
{
    const std::string conf = dir.write("httpd.conf", "<Directory />\nAllowOverride None\n</Directory>\n");
    helper->result = 3;
    KLApacheController& controller = make();
    EXPECT_EQ(controller.repairConfFile(conf), 3);
    ASSERT_EQ(helper->calls.size(), 1u);
    const auto& args = helper->calls[0];
    ASSERT_EQ(args.size(), 6u);
    EXPECT_EQ(std::vector<std::string>(args.begin(), args.begin() + 5),
              (std::vector<std::string>{"-operation", "webcheck", "-file", conf, "-data"}));
    EXPECT_EQ(helper->replacements[0], "<Directory />\nAllowOverride All\n</Directory>\n\n");
    EXPECT_FALSE(fileExists(args[5])) << "the temporary copy is removed";
    EXPECT_EQ(readFile(conf), "<Directory />\nAllowOverride None\n</Directory>\n") << "only the helper replaces";

    // Run even when nothing changes.
    dir.write("plain.conf", "ServerName x\n");
    EXPECT_EQ(controller.repairConfFile(dir.file("plain.conf")), 3);
    EXPECT_EQ(helper->replacements.back(), "ServerName x\n\n");
}

TEST_F(ApacheConfigTest, RepairRefusesFilesItCannotUse)
{
    KLApacheController& controller = make();
    EXPECT_EQ(controller.repairConfFile(dir.file("missing.conf")), 4);
    EXPECT_EQ(controller.repairConfFile(dir.write("empty.conf", "")), 9);
    // Something that exists and cannot be read as text must never be
    // replaced by an empty copy.
    EXPECT_EQ(controller.repairConfFile(dir.mkdir("folder.conf")), KLApacheController::kRepairUnreadable);
    EXPECT_TRUE(helper->calls.empty());
}

TEST_F(ApacheConfigTest, CheckReportsTheUserFileAndChangesNothing)
{
    const std::string broken = "<Directory />\nAllowOverride None\n</Directory>\n";
    const std::string conf = dir.write("httpd.conf", broken);
    KLApacheController& controller = make();
    // Only the second (user) file counts; it does not exist here.
    EXPECT_FALSE(controller.webcheckCheck());
    KLUserDefaults::standardUserDefaults().setObject(".", "Apache User Conf Directory");
    dir.write(lastPathComponent(controller.userConfFile()), broken);
    EXPECT_TRUE(controller.webcheckCheck());
    EXPECT_EQ(readFile(conf), broken);
    KLUserDefaults::standardUserDefaults().removeDefaultForKey("Apache User Conf Directory");
}

} // namespace
