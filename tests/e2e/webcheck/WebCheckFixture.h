#pragma once

#include "KLApacheController.h"
#include "TempDir.h"
#include "WebCheckSandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace fs = std::filesystem;
// Run options are given by designated initializers; the members left out keep their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// The set-user-ID tool attacked as nobody and as root (skipped without root).
class WebCheckFixture : public ::testing::Test
{
protected:
    using Run = WebCheckSandbox::Run;
    using Names = std::vector<std::string>;
    static constexpr uid_t kNobody = WebCheckSandbox::kNobody;
    static constexpr uid_t kCallers[] = {kNobody, 0};
    static constexpr int kUsage = 1, kTokenRefused = 3, kFileRefused = 4, kDataRefused = 5, kReplaceFailed = 6,
                         kNotAuthorized = 7, kControlFailed = 8, kNoRootRights = 9, kModuleRefused = 10,
                         kNotARepair = 11;

    void SetUp() override
    {
        WebCheckSandbox::exitUnlessRoot();
        box = std::make_unique<WebCheckSandbox>();
        box->installSetUID();
    }

    Run run(uid_t uid, const Names& args, const Names& wrapper = {}, const std::function<void()>& inChild = {})
    {
        return box->run(args, {.uid = uid, .wrapper = wrapper, .inChild = inChild, .callerToken = true});
    }
    Names ctlArgs(const std::string& command) const { return {"-mypath", box->tool(), "-operation", "ctl", "-data", command}; }
    Run ctl(uid_t uid, const std::string& command, const Names& wrapper = {}) { return run(uid, ctlArgs(command), wrapper); }
    Run module(uid_t uid, const std::string& name) { return run(uid, {"-mypath", box->tool(), "-operation", "module", "-data", name}); }
    Run webcheck(uid_t uid, const std::string& file, const std::string& data, const Names& wrapper = {})
    {
        return run(uid, {"-mypath", box->tool(), "-operation", "webcheck", "-file", file, "-data", data}, wrapper);
    }
    // The repair Fendrel makes of file (the core's own), as a data file of uid's.
    std::string repairData(const std::string& file, uid_t uid = kNobody, const std::string& name = "repair")
    {
        std::string path = box->callerFile(name, "", uid);
        int handle = ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        KLApacheController(nullptr).grepFile(file, handle);
        ::close(handle);
        return path;
    }

    bool controlRan() const { return fs::exists(box->controlLog()); }
    static std::string read(const std::string& path) { return readFile(path); }
    static void expectStat(const std::string& path, uid_t uid, gid_t gid, mode_t mode)
    {
        struct stat st{};
        ASSERT_EQ(0, ::stat(path.c_str(), &st)) << path;
        EXPECT_EQ(std::tuple(uid, gid, mode), std::tuple(st.st_uid, st.st_gid, st.st_mode & 07777)) << path;
    }
    // Entries but the named ones; by default temporary files left in conf/.
    Names strays(std::string folder = {}, Names expected = {}) const
    {
        if (folder.empty())
            folder = box->confDir(), expected = {WebCheckSandbox::mainConfName(), "users"};
        Names found;
        for (const auto& entry : fs::directory_iterator(folder))
            if (std::find(expected.begin(), expected.end(), entry.path().filename()) == expected.end())
                found.push_back(entry.path().filename());
        return found;
    }

    std::unique_ptr<WebCheckSandbox> box;
};
