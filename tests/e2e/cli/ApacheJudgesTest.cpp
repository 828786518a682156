#include "ApacheSandbox.h"
#include "CliRunner.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <poll.h>
#include <sys/inotify.h>
#include <random>
#include <regex>
#include <thread>
#include <tuple>

// What fendrelctl writes, judged by a private Apache serving the tree.
class ApacheJudgesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available())
            GTEST_SKIP() << "apache2 is not installed";
        std::remove((std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist").c_str());
        root = apache.documentRoot();
        for (const char* folder : {"private", "team", "lan", "outside"}) {
            std::filesystem::create_directories(root + "/" + folder);
            std::ofstream(root + "/" + folder + "/index.html") << "hello\n";
        }
        ASSERT_TRUE(apache.start()) << apache.error();
    }

    void ctl(std::vector<std::string> args, const std::string& input = {})
    {
        args.insert(args.begin(), {"--root", root});
        CliResult result = runCli(args, input);
        ASSERT_EQ(result.status, 0) << result.err;
    }

    ApacheSandbox apache;
    std::string root;
};

TEST_F(ApacheJudgesTest, PasswordUsersAndGroups)
{
    ctl({"user", "add", "alice"}, "wonder\n");
    ctl({"user", "add", "bob"}, "builder\n");
    ctl({"protect", "private", "password"});
    EXPECT_EQ(apache.status("/private/"), 401);
    EXPECT_EQ(apache.status("/private/", "alice", "wonder"), 401); // nobody is let in yet

    ctl({"allow", "private", "--user", "alice"});
    EXPECT_EQ(apache.status("/private/"), 401);
    EXPECT_EQ(apache.status("/private/", "alice", "wonder"), 200);
    EXPECT_EQ(apache.status("/private/", "alice", "wrong"), 401);
    EXPECT_EQ(apache.status("/private/", "bob", "builder"), 401);

    ctl({"allow", "private", "--any-user"});
    EXPECT_EQ(apache.status("/private/", "bob", "builder"), 200);
    ctl({"revoke", "private", "--any-user"});
    EXPECT_EQ(apache.status("/private/", "bob", "builder"), 401);

    ctl({"group", "add", "staff"});
    ctl({"group", "add-member", "staff", "bob"});
    ctl({"protect", "team", "password"});
    ctl({"allow", "team", "--group", "staff"});
    EXPECT_EQ(apache.status("/team/", "bob", "builder"), 200);
    EXPECT_EQ(apache.status("/team/", "alice", "wonder"), 401);

    ctl({"protect", "team", "none"});
    EXPECT_EQ(apache.status("/team/"), 200);
    EXPECT_EQ(apache.status("/lan/"), 200);
}

// A users file made by htpasswd with every kind of hash it makes, and one
// Fendrel does not know: adding, changing and deleting other users keeps each
// of those lines byte for byte, and Apache still lets their users in.
TEST_F(ApacheJudgesTest, UsersOfEveryHashKindAreKept)
{
    const std::string users = root + "/.htusers";
    std::ofstream(users).close();
    const std::vector<std::tuple<std::string, std::string, std::string>> made = {
        {"-d", "dora", "des-pw"}, {"-m", "mona", "md5-pw"}, {"-s", "sam", "sha-pw"}, {"-B", "bea", "bcrypt-pw"}};
    for (const auto& [kind, name, password] : made) {
        std::string command = "htpasswd -b " + kind + " " + users + " " + name + " " + password + " 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    std::ofstream(users, std::ios::app) << "olga:{SSHA}b2xnYQ==\n";
    std::ifstream in(users);
    const std::string original(std::istreambuf_iterator<char>(in), {});

    ctl({"user", "add", "carl"}, "carl-long-password\n");
    ctl({"user", "add", "--hash", "bcrypt", "erin"}, "correct horse battery\n");
    ctl({"user", "passwd", "--hash", "bcrypt", "carl"}, "carl-long-password\n");
    ctl({"--yes", "user", "delete", "erin"});
    std::ifstream after(users);
    std::string now(std::istreambuf_iterator<char>(after), {});
    EXPECT_EQ(now.substr(0, original.size()), original);
    EXPECT_EQ(now.substr(original.size()).rfind("carl:$2b$10$", 0), 0u) << now;
    EXPECT_EQ(runCli({"--root", root, "--json", "user", "list"}).json(),
              nlohmann::json::parse(R"([{"name":"dora","hash":"DES"},{"name":"mona","hash":"MD5"},
                  {"name":"sam","hash":"SHA-1"},{"name":"bea","hash":"bcrypt"},{"name":"olga","hash":"other"},
                  {"name":"carl","hash":"bcrypt"}])"));

    ctl({"protect", "private", "password"});
    ctl({"allow", "private", "--any-user"});
    for (const auto& [kind, name, password] : made)
        EXPECT_EQ(apache.status("/private/", name, password), 200) << kind;
    EXPECT_EQ(apache.status("/private/", "carl", "carl-long-password"), 200);
    EXPECT_EQ(apache.status("/private/", "carl", "carl-lon"), 401);
    EXPECT_EQ(apache.status("/private/", "erin", "correct horse battery"), 401);
}

TEST_F(ApacheJudgesTest, AddressRules)
{
    ctl({"protect", "lan", "address"});
    EXPECT_EQ(apache.status("/lan/"), 403); // allow-list mode with nobody listed
    ctl({"allow", "lan", "--address", "127.0.0.1"});
    EXPECT_EQ(apache.status("/lan/"), 200);
    ctl({"revoke", "lan", "--address", "127.0.0.1"});
    EXPECT_EQ(apache.status("/lan/"), 403);

    // Deny-list mode keeps the listed addresses out and lets everyone else in.
    ctl({"protect", "outside", "address"});
    ctl({"address-mode", "outside", "deny"});
    EXPECT_EQ(apache.status("/outside/"), 200);
    ctl({"allow", "outside", "--address", "127.0.0.1"});
    EXPECT_EQ(apache.status("/outside/"), 403);
    ctl({"revoke", "outside", "--address", "127.0.0.1"});
    EXPECT_EQ(apache.status("/outside/"), 200);

    // Password or address: the address lets this client in without a login.
    ctl({"user", "add", "alice"}, "wonder\n");
    ctl({"protect", "lan", "any"});
    ctl({"allow", "lan", "--user", "alice", "--address", "127.0.0.1"});
    EXPECT_EQ(apache.status("/lan/"), 200);
    // Both required: the address alone is not enough.
    ctl({"protect", "lan", "all"});
    EXPECT_EQ(apache.status("/lan/"), 401);
    EXPECT_EQ(apache.status("/lan/", "alice", "wonder"), 200);

    ctl({"--yes", "clear", "lan"});
    EXPECT_EQ(apache.status("/lan/"), 200);
}

// fendrelctl killed at random moments of its writes: every file is always
// either the old or a whole new version, Apache keeps reading them, and the
// next run clears what a killed writer left behind.
TEST_F(ApacheJudgesTest, KilledRunsLeaveEveryFileWhole)
{
    const std::string settings = std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist";
    {
        // A users file large enough that its write takes a while.
        std::ofstream users(root + "/.htusers");
        for (int i = 0; i < 20000; ++i)
            users << "filler" << i << ":abJnggxhB/yWI\n";
    }
    ctl({"user", "add", "alice"}, "wonder\n");
    ctl({"group", "add", "staff"});
    ctl({"protect", "private", "password"});
    ctl({"allow", "private", "--user", "alice"});
    auto read = [](const std::string& path) {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    // Each file with what makes a version of it whole: users and groups
    // files line by line (a cut line is caught), the others by their end.
    auto lines = [](std::function<bool(std::string_view)> whole) {
        return [whole](const std::string& text) {
            std::string_view rest = text;
            for (std::size_t end; !rest.empty(); rest.remove_prefix(end + 1))
                if ((end = rest.find('\n')) == std::string_view::npos || !whole(rest.substr(0, end)))
                    return false;
            return true;
        };
    };
    auto endsWith = [](std::vector<std::string> ends) {
        return [ends](const std::string& text) {
            return std::any_of(ends.begin(), ends.end(), [&](const std::string& end) { return text.ends_with(end); });
        };
    };
    const std::vector<std::pair<std::string, std::function<bool(const std::string&)>>> files = {
        {root + "/.htusers", lines([](std::string_view l) { return l.find(':') != l.npos && l.find(':') + 14 == l.size(); })},
        {root + "/.htgroups", lines([](std::string_view l) { return l.find(':') != l.npos && l.ends_with(' '); })},
        // The managed block ends with its Satisfy line, switched on or off.
        {root + "/private/.htaccess", endsWith({"\nSatisfy all\n", "\n#Satisfy any\n", "\nSatisfy any\n", "\n#Satisfy all\n"})},
        {settings, endsWith({"</plist>\n"})}};
    auto command = [](int i) -> std::pair<std::vector<std::string>, std::string> {
        std::string name = "user" + std::to_string(i);
        switch (i % 4) {
        case 0:
            return {{"user", "add", name}, "secret\n"};
        case 1:
            return {{"group", "add-member", "staff", "filler" + std::to_string(i)}, ""};
        case 2:
            return {{i % 8 == 2 ? "allow" : "revoke", "private", "--user", "filler1"}, ""};
        default:
            return {{"settings", "set", "Sort Users", i % 8 == 3 ? "true" : "false"}, ""};
        }
    };
    std::mt19937 random(20261124);
    auto started = std::chrono::steady_clock::now();
    int kills = 0, midWrite = 0;
    for (int i = 0; i < 300 && std::chrono::steady_clock::now() - started < std::chrono::seconds(45); ++i) {
        auto [args, input] = command(i);
        args.insert(args.begin(), {"--root", root});
        std::vector<std::string> before;
        for (const auto& [path, end] : files)
            before.push_back(read(path));
        {
            // Every other run dies as soon as one of its temporary files appears.
            int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
            if (i % 2)
                for (const auto& [path, end] : files)
                    ::inotify_add_watch(watch, path.substr(0, path.rfind('/')).c_str(), IN_CREATE);
            CliProcess run(args, input);
            pollfd ready{watch, POLLIN, 0};
            ::poll(&ready, 1, i % 2 ? 2000 : static_cast<int>(random() % 60));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            ::close(watch);
        } // killed here unless it has ended
        ++kills;
        for (const auto& [path, end] : files)
            for (const auto& entry : std::filesystem::directory_iterator(path.substr(0, path.rfind('/'))))
                midWrite += std::regex_match(entry.path().string(), std::regex(path + "\\.[0-9]+\\......."));
        // The old version, or a whole new one.
        for (std::size_t f = 0; f < files.size(); ++f) {
            std::string now = read(files[f].first);
            EXPECT_TRUE(now == before[f] || files[f].second(now)) << files[f].first << " after " << args[2];
        }
        if (i % 8 == 0) {
            ASSERT_EQ(apache.status("/private/", "alice", "wonder"), 200) << "run " << i << ": " << args[2];
        }
    }
    EXPECT_GT(kills, 100);
    EXPECT_GT(midWrite, 10); // runs killed between a temporary file's creation and its rename
    ctl({"user", "add", "last"}, "secret\n");
    ctl({"group", "add-member", "staff", "last"});
    ctl({"allow", "private", "--user", "last"});
    ctl({"settings", "set", "Sort Users", "false"});
    for (const auto& [path, end] : files) {
        std::string folder = path.substr(0, path.rfind('/'));
        std::string name = path.substr(path.rfind('/') + 1);
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            EXPECT_FALSE(std::regex_match(entry.path().filename().string(), std::regex(name + "\\.[0-9]+\\.......")))
                << entry.path();
    }
    EXPECT_EQ(apache.status("/private/", "last", "secret"), 200);
}

// verify asks the server itself: each folder's answer against its file's
// promise, the error log's line for a file Apache cannot read, and a server
// that does not answer said once.
TEST_F(ApacheJudgesTest, VerifyReportsApachesOwnAnswer)
{
    const std::string site = "127.0.0.1:" + std::to_string(apache.port());
    const std::string logs = apache.errorLogPath().substr(0, apache.errorLogPath().rfind('/'));
    ctl({"settings", "set", "Apache Site Address", site});
    ctl({"settings", "set", "Override Log Directory", "true"});
    ctl({"settings", "set", "Apache Log Directory", logs});
    for (const char* folder : {"private", "team", "outside"})
        ctl({"protect", folder, "password"});
    ctl({"protect", "lan", "all"});
    ctl({"allow", "lan", "--address", "10.1.2.3"});
    std::ofstream(root + "/team/.htaccess", std::ios::app) << "Frobnicate on\n";
    apache.setExtraConfig("<Directory \"" + root + "/outside\">\n  AllowOverride None\n</Directory>\n");
    apache.stop();
    ASSERT_TRUE(apache.start()) << apache.error();

    struct Row
    {
        const char* mode;
        int status;
        const char* verdict;
        std::string reasonPart;
    };
    const std::map<std::string, Row> expected = {
        {"private", {"password", 401, "enforced", "asks for a password"}},
        {"lan", {"all", 403, "enforced", "keeps this machine's address out"}},
        {"outside", {"password", 200, "not enforced", "(AllowOverride)"}},
        {"team", {"password", 500, "not enforced", root + "/team/.htaccess: Invalid command 'Frobnicate'"}},
    };
    CliResult all = runCli({"--root", root, "--json", "verify"});
    EXPECT_EQ(all.status, 6) << all.err;
    EXPECT_EQ(all.err, "fendrelctl: 2 of 4 protected folders are not enforced as their access files say\n");
    ASSERT_EQ(all.json().size(), expected.size()) << all.out;
    for (const nlohmann::json& row : all.json()) {
        const Row& want = expected.at(row["path"]);
        EXPECT_EQ(row["mode"], want.mode);
        EXPECT_EQ(row["status"], want.status) << row;
        EXPECT_EQ(row["verdict"], want.verdict) << row;
        EXPECT_NE(row["reason"].get<std::string>().find(want.reasonPart), std::string::npos) << row;
    }

    CliResult one = runCli({"--root", root, "verify", "private"});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, "enforced      private (401): Apache asks for a password here, as the access file says.\n");

    apache.stop();
    CliResult stopped = runCli({"--root", root, "verify"});
    EXPECT_EQ(stopped.status, 6);
    EXPECT_EQ(stopped.out, "");
    EXPECT_EQ(stopped.err, "fendrelctl: Apache does not answer on " + site +
                               ": the server is not running, so no folder's protection could be checked.\n");
}
