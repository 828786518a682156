#pragma once

#include "CliRunner.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// A fresh protected folder tree for each test, named with --root on every
// run, and a settings file of the test's own.
class CliFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::remove((std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist").c_str());
        tree.mkdir("private/sub");
        tree.mkdir("public");
    }

    CliResult ctl(std::vector<std::string> args, const std::string& input = {}, double timeoutSeconds = 60)
    {
        args.insert(args.begin(), {"--root", tree.path()});
        return runCli(args, input, timeoutSeconds);
    }
    nlohmann::json json(std::vector<std::string> args, const std::string& input = {})
    {
        args.insert(args.begin(), "--json");
        CliResult result = ctl(args, input);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.json();
    }
    // Adds a user with a password read from standard input.
    void addUser(const std::string& name, const std::string& password = "secret")
    {
        CliResult result = ctl({"user", "add", name}, password + "\n");
        ASSERT_EQ(result.status, 0) << result.err;
    }
    // What --json user list shows: each name with the kind of its hash.
    static nlohmann::json usersWith(const std::vector<std::pair<std::string, std::string>>& users)
    {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& [name, hash] : users)
            list.push_back({{"name", name}, {"hash", hash}});
        return list;
    }
    void expectRefused(const CliResult& result, int status, const std::string& message)
    {
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_EQ(result.err, "fendrelctl: " + message + "\n");
    }

    TempDir tree;
};
