#include "CliFixture.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <set>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace {

// How long a run blocked by a lock is given to show that it does not go on.
constexpr std::chrono::milliseconds kBlockedFor(800);

// A lock held by the test itself, on the same file the command line locks.
class HeldLock
{
public:
    HeldLock(const std::string& path, int operation) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        EXPECT_GE(fd_, 0) << path;
        EXPECT_EQ(::flock(fd_, operation), 0) << path;
    }
    ~HeldLock() { release(); }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    void release()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};

std::string settingsLockFile()
{
    return std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist.lock";
}

// Addresses are listed as strings, users as objects with a name.
std::set<std::string> namesOf(const nlohmann::json& list)
{
    std::set<std::string> names;
    for (const nlohmann::json& entry : list)
        names.insert(entry.is_object() ? entry["name"] : entry);
    return names;
}

class ConcurrencyTest : public CliFixture
{
protected:
    std::vector<std::string> inTree(std::vector<std::string> args) const
    {
        args.insert(args.begin(), {"--root", tree.path()});
        return args;
    }
};

} // namespace

// Each fendrelctl run reads the users file, adds one user and writes the
// file back. Two processes doing so at once must not lose each other's users.
TEST_F(ConcurrencyTest, TwoProcessesAddingUsersLoseNone)
{
    constexpr int kRounds = 8;
    std::set<std::string> expected;
    for (int round = 0; round < kRounds; ++round) {
        std::string a = "ann" + std::to_string(round);
        std::string b = "ben" + std::to_string(round);
        expected.insert(a);
        expected.insert(b);
        auto first = std::make_unique<CliProcess>(
            std::vector<std::string>{"--root", tree.path(), "user", "add", a}, "pw\n");
        auto second = std::make_unique<CliProcess>(
            std::vector<std::string>{"--root", tree.path(), "user", "add", b}, "pw\n");
        CliResult one = first->wait();
        CliResult two = second->wait();
        ASSERT_EQ(one.status, 0) << one.err;
        ASSERT_EQ(two.status, 0) << two.err;
    }
    EXPECT_EQ(namesOf(json({"user", "list"})), expected);
}

TEST_F(ConcurrencyTest, TwoProcessesChangingGroupsLoseNone)
{
    addUser("alice");
    constexpr int kRounds = 6;
    std::set<std::string> expected;
    for (int round = 0; round < kRounds; ++round) {
        std::string a = "red" + std::to_string(round);
        std::string b = "blue" + std::to_string(round);
        expected.insert(a);
        expected.insert(b);
        CliProcess first({"--root", tree.path(), "group", "add", a});
        CliProcess second({"--root", tree.path(), "group", "add", b});
        ASSERT_EQ(first.wait().status, 0);
        ASSERT_EQ(second.wait().status, 0);
    }
    std::set<std::string> names;
    for (const nlohmann::json& group : json({"group", "list"}))
        names.insert(group["name"].get<std::string>());
    EXPECT_EQ(names, expected);
}

// A change waits for a run that holds the root, and goes on once it is let go;
// readers share the root with each other.
TEST_F(ConcurrencyTest, AChangeWaitsForTheRootLock)
{
    addUser("alice");
    std::string users = readFile(tree.file(".htusers"));
    {
        HeldLock held(tree.path(), LOCK_EX);
        CliProcess adding(inTree({"user", "add", "carol"}), "pw\n");
        std::this_thread::sleep_for(kBlockedFor);
        EXPECT_EQ(readFile(tree.file(".htusers")), users) << "written while the root was locked";
        held.release();
        CliResult added = adding.wait();
        EXPECT_EQ(added.status, 0) << added.err;
    }
    EXPECT_EQ(namesOf(json({"user", "list"})), (std::set<std::string>{"alice", "carol"}));

    users = readFile(tree.file(".htusers"));
    HeldLock reading(tree.path(), LOCK_SH);
    CliResult shown = ctl({"--json", "user", "list"});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(namesOf(shown.json()), (std::set<std::string>{"alice", "carol"}));
    CliProcess adding(inTree({"user", "add", "dave"}), "pw\n");
    std::this_thread::sleep_for(kBlockedFor);
    EXPECT_EQ(readFile(tree.file(".htusers")), users) << "written while the root was being read";
    reading.release();
    EXPECT_EQ(adding.wait().status, 0);
    EXPECT_EQ(namesOf(json({"user", "list"})), (std::set<std::string>{"alice", "carol", "dave"}));
}

// The known addresses are shared by every root and stored with the other
// settings: runs on different roots, and settings changes, take turns too.
TEST_F(ConcurrencyTest, SettingsChangesWaitForTheSettingsLock)
{
    const std::string settings = std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist";
    ASSERT_EQ(ctl({"address", "add", "10.8.0.1"}).status, 0);
    std::string before = readFile(settings);
    {
        HeldLock held(settingsLockFile(), LOCK_EX);
        CliProcess adding(inTree({"address", "add", "10.8.0.2"}));
        CliProcess setting({"settings", "set", "Sort Users", "true"});
        std::this_thread::sleep_for(kBlockedFor);
        EXPECT_EQ(readFile(settings), before) << "written while the settings were locked";
        held.release();
        EXPECT_EQ(adding.wait().status, 0);
        EXPECT_EQ(setting.wait().status, 0);
    }
    EXPECT_EQ(namesOf(json({"address", "list"})), (std::set<std::string>{"127.0.0.1", "10.8.0.1", "10.8.0.2"}));
    EXPECT_EQ(runCli({"settings", "get", "Sort Users"}).out, "true\n");
}

TEST_F(ConcurrencyTest, ManyRunsChangingSettingsLoseNothing)
{
    TempDir other;
    constexpr int kRuns = 12;
    std::vector<std::unique_ptr<CliProcess>> runs;
    std::set<std::string> expected = {"127.0.0.1"};
    for (int i = 0; i < kRuns; ++i) {
        std::string address = "10.9.0." + std::to_string(i + 1);
        expected.insert(address);
        const std::string& root = i % 2 ? other.path() : tree.path();
        runs.push_back(
            std::make_unique<CliProcess>(std::vector<std::string>{"--root", root, "address", "add", address}));
        if (i % 4 == 0)
            runs.push_back(std::make_unique<CliProcess>(
                std::vector<std::string>{"settings", "set", "Setting " + std::to_string(i), "true"}));
    }
    for (const auto& run : runs) {
        CliResult result = run->wait();
        EXPECT_EQ(result.status, 0) << result.err;
    }
    EXPECT_EQ(namesOf(json({"address", "list"})), expected);
    for (int i = 0; i < kRuns; i += 4)
        EXPECT_EQ(runCli({"settings", "get", "Setting " + std::to_string(i)}).out, "true\n") << i;
}

// A password prompt left open holds no lock: other runs on the root go on.
TEST_F(ConcurrencyTest, APasswordPromptHoldsNoLock)
{
    addUser("alice");
    CliProcess changing(inTree({"user", "passwd", "alice"}), {}, true);
    // Time to reach the read of the password, which never comes meanwhile.
    std::this_thread::sleep_for(kBlockedFor);
    CliResult added = ctl({"user", "add", "bob"}, "pw\n", 20);
    EXPECT_EQ(added.status, 0) << added.err;
    CliResult set = runCli({"settings", "set", "Sort Users", "true"}, {}, 20);
    EXPECT_EQ(set.status, 0) << set.err;
    changing.finishInput("changed\n");
    CliResult changed = changing.wait();
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(namesOf(json({"user", "list"})), (std::set<std::string>{"alice", "bob"}));
}
