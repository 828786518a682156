#pragma once

#include "FakeAuthorizationView.h"
#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLHelperTool.h"
#include "KLPlainRunLoop.h"
#include "KLTextFile.h"
#include "KLUserDefaults.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

// A helper tool that records its runs; for a file replacement it keeps what
// the temporary file held at that moment.
class FakeHelperTool : public KLHelperTool {
public:
    bool isHelperSetUID() const override { return setUID; }
    int webcheckWithArgs(const std::vector<std::string>& arguments) const override
    {
        calls.push_back(arguments);
        if (arguments.size() == 6 && arguments[1] == "webcheck")
            replacements.push_back(KLTextFile::readBytes(arguments[5]).value_or("<unreadable>"));
        return result;
    }

    bool setUID = true;
    int result = 0;
    mutable std::vector<std::vector<std::string>> calls;
    mutable std::vector<std::string> replacements;
};

// A run loop that remembers the delay and the timer of each one-shot timer.
class RecordingRunLoop : public KLPlainRunLoop {
public:
    std::shared_ptr<KLTimer> scheduleOnce(double seconds, std::function<void()> fn) override
    {
        auto timer = KLPlainRunLoop::scheduleOnce(seconds, std::move(fn));
        once.emplace_back(seconds, timer);
        return timer;
    }
    std::vector<std::pair<double, std::shared_ptr<KLTimer>>> once;
};

// A controller with fake outlets and helper, the configuration at a chosen
// path and its own run loop.
class ApacheControllerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", "macos", 1);
        FendrelPref::initialize();
        KLRunLoop::setMain(loop);
        KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
        d.setBool(true, "Override Conf Directory Location");
        d.setObject(dir.path(), "Apache Conf Directory");
        d.setObject("httpd.conf", "Apache Conf File");
        d.setBool(false, "Override Log Directory");
        d.setBool(true, "Graceful Restart");
        d.setDouble(2.0, "ApacheCheckInterval");
        outlets = {.toggleButton = &toggleButton, .restartButton = &restartButton, .gracefulSwitch = &gracefulSwitch,
                   .configCheckButton = &configCheckButton, .configCheckStatus = &configCheckStatus,
                   .configErrorView = &configErrorView, .logPicker = &logPicker, .logDisplayButton = &logDisplayButton,
                   .webcheckButton = &webcheckButton, .authView = &authView, .workspace = &workspace};
    }
    void TearDown() override
    {
        controller.reset();
        KLRunLoop::setMain(nullptr);
        ::unsetenv("FENDREL_LAYOUT");
    }

    KLApacheController& make()
    {
        controller = std::make_unique<KLApacheController>(helper);
        controller->setStatusDisplay(&status);
        controller->setProcessLister([this] { return ++listings, processes; });
        return *controller;
    }
    KLApacheController& makeAwake()
    {
        make().awakeFromNib(outlets);
        waitForLogs();
        return *controller;
    }
    void waitForLogs() { ASSERT_TRUE(loop->runUntil([this] { return !controller->isFindingLogs(); }, 60)); }
    std::string script(const std::string& name, const std::string& body)
    {
        std::string path = dir.write(name, "#!/bin/sh\n" + body);
        ::chmod(path.c_str(), 0755);
        return path;
    }

    TempDir dir;
    std::shared_ptr<RecordingRunLoop> loop = std::make_shared<RecordingRunLoop>();
    std::shared_ptr<FakeHelperTool> helper = std::make_shared<FakeHelperTool>();
    FakePaneContext pane;
    std::vector<std::string> processes;
    int listings = 0;
    FakeButton toggleButton, restartButton, gracefulSwitch, configCheckButton, logDisplayButton, webcheckButton;
    FakeTextField configCheckStatus, status;
    FakeTextView configErrorView;
    FakePopUpButton logPicker;
    FakeAuthorizationView authView;
    FakeWorkspace workspace;
    KLApacheControllerOutlets outlets;
    std::unique_ptr<KLApacheController> controller;
};
