#pragma once

#include "CliRunner.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

inline std::string settingsFile()
{
    return std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist";
}

// One run and its answer. A text left out is not checked; an error text is what follows "fendrelctl: ".
struct Step
{
    std::vector<std::string> args;
    int status = 0;
    std::optional<std::string> err = std::nullopt;
    std::optional<std::string> out = std::nullopt;
    std::string input = {};
};

// A fresh folder tree named with --root on every run (unless emptied), and a settings file of the test's own.
class CliFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::remove(settingsFile().c_str());
        tree.mkdir("private/sub");
        tree.mkdir("public");
    }

    CliResult ctl(std::vector<std::string> args, const std::string& input = {}, double timeoutSeconds = 60)
    {
        if (!root.empty())
            args.insert(args.begin(), {"--root", root});
        return runCli(args, input, timeoutSeconds);
    }
    nlohmann::json json(std::vector<std::string> args, const std::string& input = {})
    {
        args.insert(args.begin(), "--json");
        CliResult result = ctl(args, input);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.json();
    }
    void run(const std::vector<Step>& steps)
    {
        for (const Step& step : steps) {
            SCOPED_TRACE(::testing::PrintToString(step.args));
            CliResult result = ctl(step.args, step.input);
            EXPECT_EQ(result.status, step.status) << result.err;
            EXPECT_EQ(result.err, !step.err ? result.err : step.err->empty() ? "" : "fendrelctl: " + *step.err + "\n");
            EXPECT_EQ(result.out, step.out.value_or(result.out));
        }
    }
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
    std::string file(const std::string& name) const { return root + "/" + name; }
    std::string text(const std::string& name) const { return readFile(file(name)); }

    TempDir tree;
    std::string root = tree.path();
};
