#include "CliFixture.h"

#include <chrono>
#include <fcntl.h>
#include <memory>
#include <set>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace {

// How long a run blocked by a lock is given to show that it does not go on.
constexpr std::chrono::milliseconds kBlockedFor(800);

class ConcurrencyTest : public CliFixture
{
protected:
    // Addresses are listed as strings, users and groups as objects with a name.
    std::set<std::string> names(const std::string& kind)
    {
        std::set<std::string> names;
        for (const nlohmann::json& entry : json({kind, "list"}))
            names.insert(entry.is_object() ? entry["name"] : entry);
        return names;
    }
};

} // namespace

// Each run reads a file, changes it and writes it back: overlapping runs must not lose each other's changes, on
// one root, on two roots sharing the known addresses, and in the settings.
TEST_F(ConcurrencyTest, OverlappingRunsLoseNothing)
{
    TempDir other;
    std::set<std::string> users, groups, addresses = {"127.0.0.1"};
    for (int round = 0; round < 8; ++round) {
        const std::string n = std::to_string(round);
        std::vector<std::unique_ptr<CliProcess>> runs;
        auto start = [&](std::set<std::string>& into, const std::string& name, std::vector<std::string> args) {
            into.insert(name);
            args.push_back(name);
            runs.push_back(std::make_unique<CliProcess>(args, "pw\n"));
        };
        for (const std::string& name : {"ann" + n, "ben" + n})
            start(users, name, {"--root", root, "user", "add"});
        for (const std::string& name : {"red" + n, "blue" + n})
            start(groups, name, {"--root", root, "group", "add"});
        for (const std::string& owner : {root, other.path()})
            start(addresses, "10.9." + n + (owner == root ? ".1" : ".2"), {"--root", owner, "address", "add"});
        if (round % 2 == 0)
            runs.push_back(std::make_unique<CliProcess>(std::vector<std::string>{"settings", "set", "Setting " + n, "true"}));
        for (const auto& process : runs) {
            CliResult result = process->wait();
            EXPECT_EQ(result.status, 0) << result.err;
        }
    }
    EXPECT_EQ(names("user"), users);
    EXPECT_EQ(names("group"), groups);
    EXPECT_EQ(names("address"), addresses);
    for (int round = 0; round < 8; round += 2)
        EXPECT_EQ(runCli({"settings", "get", "Setting " + std::to_string(round)}).out, "true\n") << round;
}

// A change waits for a run that holds the root or the settings, and goes on once they are let go; readers share
// the root with each other, and a password prompt left open holds no lock.
TEST_F(ConcurrencyTest, AChangeWaitsForTheLock)
{
    addUser("alice");
    ASSERT_EQ(ctl({"address", "add", "10.8.0.1"}).status, 0);
    struct Case
    {
        std::string locked, written;
        int operation;
        std::vector<std::vector<std::string>> runs;
    };
    const Case cases[] = {
        {root, file(".htusers"), LOCK_EX, {{"--root", root, "user", "add", "carol"}}},
        {root, file(".htusers"), LOCK_SH, {{"--root", root, "user", "add", "dave"}}},
        {settingsFile() + ".lock", settingsFile(), LOCK_EX,
         {{"--root", root, "address", "add", "10.8.0.2"}, {"settings", "set", "Sort Users", "true"}}},
    };
    for (const Case& c : cases) {
        const std::string before = readFile(c.written);
        int lock = ::open(c.locked.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(::flock(lock, c.operation), 0) << c.locked;
        if (c.operation == LOCK_SH)
            EXPECT_EQ(names("user"), (std::set<std::string>{"alice", "carol"}));
        std::vector<std::unique_ptr<CliProcess>> runs;
        for (const auto& args : c.runs)
            runs.push_back(std::make_unique<CliProcess>(args, "pw\n"));
        std::this_thread::sleep_for(kBlockedFor);
        EXPECT_EQ(readFile(c.written), before) << "written while " << c.locked << " was locked";
        ::close(lock);
        for (const auto& process : runs)
            EXPECT_EQ(process->wait().status, 0) << c.runs[0][3];
    }
    CliProcess changing({"--root", root, "user", "passwd", "alice"}, {}, true);
    std::this_thread::sleep_for(kBlockedFor); // time to reach the read of the password
    EXPECT_EQ(ctl({"user", "add", "bob"}, "pw\n", 20).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Sort Groups", "true"}, {}, 20).status, 0);
    changing.finishInput("changed\n");
    EXPECT_EQ(changing.wait().status, 0);
    EXPECT_EQ(names("user"), (std::set<std::string>{"alice", "bob", "carol", "dave"}));
    EXPECT_EQ(names("address"), (std::set<std::string>{"127.0.0.1", "10.8.0.1", "10.8.0.2"}));
    EXPECT_EQ(runCli({"settings", "get", "Sort Users"}).out, "true\n");
}
