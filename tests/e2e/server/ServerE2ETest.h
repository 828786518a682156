#pragma once

#include "FakeAuthorizationView.h"
#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "FendrelPref.h"
#include "KLApacheController.h"
#include "KLPlainRunLoop.h"
#include "KLUserDefaults.h"

#include <gtest/gtest.h>

#include <cstdlib>

// The web server controller with fake views, on its own run loop, reading
// the configuration at a given folder and file.
class ServerE2ETest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("FENDREL_LAYOUT", "debian", 1);
        FendrelPref::initialize();
        KLRunLoop::setMain(loop);
        KLUserDefaults::standardUserDefaults().setBool(true, "Override Conf Directory Location");
        KLUserDefaults::standardUserDefaults().setBool(false, "Override Log Directory");
        outlets = {.toggleButton = &toggleButton, .restartButton = &restartButton, .gracefulSwitch = &gracefulSwitch,
                   .configCheckStatus = &configCheckStatus, .configErrorView = &configErrorView, .logPicker = &logPicker,
                   .logDisplayButton = &logDisplayButton, .webcheckButton = &webcheckButton, .authView = &authView,
                   .workspace = &workspace};
    }
    void TearDown() override
    {
        controller.reset();
        KLRunLoop::setMain(nullptr);
        ::unsetenv("FENDREL_LAYOUT");
    }

    KLApacheController& make(const std::string& confDir, const std::string& confFile,
                             std::shared_ptr<KLHelperTool> helper = nullptr)
    {
        KLUserDefaults& d = KLUserDefaults::standardUserDefaults();
        d.setObject(confDir, "Apache Conf Directory");
        d.setObject(confFile, "Apache Conf File");
        controller = std::make_unique<KLApacheController>(helper);
        controller->setStatusDisplay(&status);
        controller->awakeFromNib(outlets);
        return *controller;
    }

    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    FakePaneContext pane;
    FakeButton toggleButton, restartButton, gracefulSwitch, logDisplayButton, webcheckButton;
    FakeTextField configCheckStatus, status;
    FakeTextView configErrorView;
    FakePopUpButton logPicker;
    FakeAuthorizationView authView;
    FakeWorkspace workspace;
    KLApacheControllerOutlets outlets;
    std::unique_ptr<KLApacheController> controller;
};
