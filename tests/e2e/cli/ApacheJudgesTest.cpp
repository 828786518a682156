#include "ApacheSandbox.h"
#include "CliRunner.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

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
