#include "ApacheSandbox.h"
#include "CliFixture.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <poll.h>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <sys/inotify.h>
#include <thread>

namespace {

// What fendrelctl writes, judged by a private Apache serving the tree.
class ApacheJudgesTest : public CliFixture
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available())
            GTEST_SKIP() << "apache2 is not installed";
        CliFixture::SetUp();
        root = apache.documentRoot();
        for (const char* folder : {"private", "team", "lan", "outside"})
            std::filesystem::create_directories(root + "/" + folder), std::ofstream(file(folder) + "/index.html") << "hi\n";
        ASSERT_TRUE(apache.start()) << apache.error();
    }
    ApacheSandbox apache;
};

} // namespace

// A users file made by htpasswd with every kind of hash it makes, and one Fendrel does not know: adding, changing
// and deleting other users keeps each of those lines byte for byte, and Apache still lets their users in.
TEST_F(ApacheJudgesTest, UsersOfEveryHashKindAreKept)
{
    std::ofstream(file(".htusers")).close();
    std::vector<std::tuple<std::string, std::string, std::string, int>> logins = {
        {"-d", "dora", "des-pw", 200}, {"-m", "mona", "md5-pw", 200}, {"-s", "sam", "sha-pw", 200},
        {"-B", "bea", "bcrypt-pw", 200}};
    for (const auto& [kind, name, password, status] : logins) {
        std::string command = "htpasswd -b " + kind + " " + file(".htusers") + " " + name + " " + password + " 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    std::ofstream(file(".htusers"), std::ios::app) << "olga:{SSHA}b2xnYQ==\n";
    const std::string original = text(".htusers");
    run({{{"user", "add", "carl"}, 0, std::nullopt, std::nullopt, "carl-long-password\n"},
         {{"user", "add", "--hash", "bcrypt", "erin"}, 0, std::nullopt, std::nullopt, "correct horse battery\n"},
         {{"user", "passwd", "--hash", "bcrypt", "carl"}, 0, std::nullopt, std::nullopt, "carl-long-password\n"},
         {{"--yes", "user", "delete", "erin"}}, {{"protect", "private", "password"}}, {{"allow", "private", "--any-user"}}});
    const std::string now = text(".htusers");
    EXPECT_EQ(now.substr(0, original.size()), original);
    EXPECT_EQ(now.substr(original.size()).rfind("carl:$2b$10$", 0), 0u) << now;
    EXPECT_EQ(json({"user", "list"}), usersWith({{"dora", "DES"}, {"mona", "MD5"}, {"sam", "SHA-1"},
                                                 {"bea", "bcrypt"}, {"olga", "other"}, {"carl", "bcrypt"}}));
    logins.insert(logins.end(), {{"", "carl", "carl-long-password", 200}, {"", "carl", "carl-lon", 401},
                                 {"", "erin", "correct horse battery", 401}});
    for (const auto& [kind, name, password, status] : logins)
        EXPECT_EQ(apache.status("/private/", name, password), status) << name << " " << password;
}

// fendrelctl killed at random moments of its writes: every file is always either the old or a whole new version,
// Apache keeps reading them, and the next run clears what a killed writer left behind.
TEST_F(ApacheJudgesTest, KilledRunsLeaveEveryFileWhole)
{
    {
        std::ofstream users(file(".htusers")); // large enough that its write takes a while
        for (int i = 0; i < 20000; ++i)
            users << "filler" << i << ":abJnggxhB/yWI\n";
    }
    run({{{"user", "add", "alice"}, 0, std::nullopt, std::nullopt, "wonder\n"}, {{"group", "add", "staff"}},
         {{"protect", "private", "password"}}, {{"allow", "private", "--user", "alice"}}});
    // Each file with what makes a version of it whole: users and groups files line by line (a cut line is
    // caught), the others by their end; the managed block ends with its Satisfy line, switched on or off.
    auto lines = [](std::function<bool(std::string_view)> whole) {
        return [whole](std::string_view rest) {
            for (std::size_t end; !rest.empty(); rest.remove_prefix(end + 1))
                if ((end = rest.find('\n')) == std::string_view::npos || !whole(rest.substr(0, end)))
                    return false;
            return true;
        };
    };
    auto endsWith = [](std::vector<std::string> ends) {
        return [ends](std::string_view text) { return std::ranges::any_of(ends, [&](auto& e) { return text.ends_with(e); }); };
    };
    const std::vector<std::pair<std::string, std::function<bool(std::string_view)>>> files = {
        {file(".htusers"), lines([](std::string_view l) { return l.find(':') != l.npos && l.find(':') + 14 == l.size(); })},
        {file(".htgroups"), lines([](std::string_view l) { return l.find(':') != l.npos && l.ends_with(' '); })},
        {file("private/.htaccess"), endsWith({"\nSatisfy all\n", "\n#Satisfy any\n", "\nSatisfy any\n", "\n#Satisfy all\n"})},
        {settingsFile(), endsWith({"</plist>\n"})}};
    auto temporaries = [&files](const std::string& path) {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(path.substr(0, path.rfind('/'))))
            count += std::regex_match(entry.path().string(), std::regex(path + "\\.[0-9]+\\......."));
        return count;
    };
    const std::vector<std::string> commands[] = {{"user", "add", "user"},
                                                 {"group", "add-member", "staff", "filler"},
                                                 {"allow", "private", "--user", "filler1"},
                                                 {"settings", "set", "Sort Users", "true"}};
    std::mt19937 random(20261124);
    auto started = std::chrono::steady_clock::now();
    int kills = 0, midWrite = 0;
    for (int i = 0; i < 300 && std::chrono::steady_clock::now() - started < std::chrono::seconds(45); ++i, ++kills) {
        std::vector<std::string> args = commands[i % 4];
        if (i % 4 < 2)
            args.back() += std::to_string(i);
        else if (i % 8 > 3)
            args[i % 4 == 2 ? 0 : 3] = i % 4 == 2 ? "revoke" : "false";
        args.insert(args.begin(), {"--root", root});
        std::vector<std::string> before;
        for (const auto& [path, whole] : files)
            before.push_back(readFile(path));
        {
            // Every other run dies as soon as one of its temporary files appears.
            int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
            for (const auto& [path, whole] : files)
                if (i % 2)
                    ::inotify_add_watch(watch, path.substr(0, path.rfind('/')).c_str(), IN_CREATE);
            CliProcess run(args, "secret\n");
            pollfd ready{watch, POLLIN, 0};
            ::poll(&ready, 1, i % 2 ? 2000 : static_cast<int>(random() % 60));
            std::this_thread::sleep_for(std::chrono::microseconds(i % 2 ? 0 : random() % 3000));
            ::close(watch);
        } // killed here unless it has ended
        for (std::size_t f = 0; f < files.size(); ++f) {
            midWrite += temporaries(files[f].first);
            std::string now = readFile(files[f].first);
            EXPECT_TRUE(now == before[f] || files[f].second(now)) << files[f].first << " after " << args[2];
        }
        ASSERT_TRUE(i % 8 || apache.status("/private/", "alice", "wonder") == 200) << "run " << i << ": " << args[2];
    }
    EXPECT_GT(kills, 100);
    EXPECT_GT(midWrite, 10); // runs killed between a temporary file's creation and its rename
    run({{{"user", "add", "last"}, 0, std::nullopt, std::nullopt, "secret\n"}, {{"group", "add-member", "staff", "last"}},
         {{"allow", "private", "--user", "last"}}, {{"settings", "set", "Sort Users", "false"}}});
    EXPECT_EQ(apache.status("/private/", "last", "secret"), 200);
    for (const auto& [path, whole] : files)
        EXPECT_EQ(temporaries(path), 0) << path;
    // Over a megabyte of answer, written out in pieces: every user once.
    std::multiset<std::string> listed, stored;
    for (const nlohmann::json& user : json({"user", "list"}))
        listed.insert(user["name"].get<std::string>());
    std::string line;
    for (std::istringstream lines(text(".htusers")); std::getline(lines, line);)
        stored.insert(line.substr(0, line.find(':')));
    EXPECT_EQ(listed, stored);
}

// verify asks the server itself: each folder's answer against its file's promise, the error log's line for a file
// Apache cannot read, and a server that does not answer said once.
TEST_F(ApacheJudgesTest, VerifyReportsApachesOwnAnswer)
{
    const std::string site = "127.0.0.1:" + std::to_string(apache.port());
    const std::string logs = apache.errorLogPath().substr(0, apache.errorLogPath().rfind('/'));
    run({{{"settings", "set", "Apache Site Address", site}}, {{"settings", "set", "Override Log Directory", "true"}},
         {{"settings", "set", "Apache Log Directory", logs}}, {{"protect", "private", "password"}},
         {{"protect", "team", "password"}}, {{"protect", "outside", "password"}}, {{"protect", "lan", "all"}},
         {{"allow", "lan", "--address", "10.1.2.3"}}});
    std::ofstream(file("team/.htaccess"), std::ios::app) << "Frobnicate on\n";
    apache.setExtraConfig("<Directory \"" + root + "/outside\">\n  AllowOverride None\n</Directory>\n");
    apache.stop();
    ASSERT_TRUE(apache.start()) << apache.error();

    const std::map<std::string, std::tuple<std::string, int, std::string, std::string>> expected = {
        {"private", {"password", 401, "enforced", "asks for a password"}},
        {"lan", {"all", 403, "enforced", "keeps this machine's address out"}},
        {"outside", {"password", 200, "not enforced", "(AllowOverride)"}},
        {"team", {"password", 500, "not enforced", root + "/team/.htaccess: Invalid command 'Frobnicate'"}},
    };
    CliResult all = ctl({"--json", "verify"});
    EXPECT_EQ(all.status, 6) << all.err;
    EXPECT_EQ(all.err, "fendrelctl: 2 of 4 protected folders are not enforced as their access files say\n");
    ASSERT_EQ(all.json().size(), expected.size()) << all.out;
    for (const nlohmann::json& row : all.json()) {
        const auto& [mode, status, verdict, reason] = expected.at(row["path"]);
        EXPECT_EQ(row["mode"], mode) << row;
        EXPECT_EQ(row["status"], status) << row;
        EXPECT_EQ(row["verdict"], verdict) << row;
        EXPECT_NE(row["reason"].get<std::string>().find(reason), std::string::npos) << row;
    }
    run({{{"verify", "private"}, 0, "", "enforced      private (401): Apache asks for a password here, as the access "
                                       "file says.\n"}});
    apache.stop();
    run({{{"verify"}, 6, "Apache does not answer on " + site + ": the server is not running, so no folder's "
                                                          "protection could be checked.", ""}});
}
