#pragma once

#include "KLApacheController.h"
#include "WebCheckSandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

// A set-user-ID root copy of the test build with stubs, attacked as nobody
// (65534) and as root. Needs root; without it the test reports a skip (77).
class WebCheckFixture : public ::testing::Test
{
protected:
    static constexpr uid_t kNobody = WebCheckSandbox::kNobody;
    static constexpr int kUsage = 1, kTokenRefused = 3, kFileRefused = 4, kDataRefused = 5, kReplaceFailed = 6,
                         kNotAuthorized = 7, kControlFailed = 8, kNoRootRights = 9,
                         kModuleRefused = 10, kNotARepair = 11;

    void SetUp() override
    {
        WebCheckSandbox::exitUnlessRoot();
        box = std::make_unique<WebCheckSandbox>();
        box->installSetUID();
    }

    WebCheckSandbox::Run ctl(uid_t uid, const std::string& command)
    {
        return run(uid, {"-mypath", box->tool(), "-operation", "ctl", "-data", command});
    }
    WebCheckSandbox::Run webcheck(uid_t uid, const std::string& file, const std::string& data)
    {
        return run(uid, {"-mypath", box->tool(), "-operation", "webcheck", "-file", file, "-data", data});
    }
    WebCheckSandbox::Run module(uid_t uid, const std::string& name)
    {
        return run(uid, {"-mypath", box->tool(), "-operation", "module", "-data", name});
    }
    WebCheckSandbox::Run run(uid_t uid, const std::vector<std::string>& args)
    {
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.callerToken = true;
        return box->run(args, options);
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

    bool controlRan() const { return std::filesystem::exists(box->controlLog()); }
    static std::string read(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    // Everything in a folder but the named entries.
    static std::vector<std::string> strays(const std::string& folder, const std::vector<std::string>& expected)
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::string name = entry.path().filename().string();
            if (std::find(expected.begin(), expected.end(), name) == expected.end())
                found.push_back(name);
        }
        return found;
    }

    std::unique_ptr<WebCheckSandbox> box;
};
