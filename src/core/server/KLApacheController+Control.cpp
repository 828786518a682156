// The control side of the web server tab: start, stop, restart and the
// configuration test, the status poll, and the helper tool.

#include "KLApacheController.h"

#include "KLAssert.h"
#include "KLButton.h"
#include "KLChildProcess.h"
#include "KLNotificationCenter.h"
#include "KLWebCheckClient.h"
#include "KLPaneContext.h"
#include "KLStringExtensions.h"
#include "KLTextField.h"
#include "KLTextView.h"
#include "KLUserDefaults.h"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace {

constexpr const char* kCheckIntervalKey = "ApacheCheckInterval";
constexpr const char* kGracefulRestartKey = "Graceful Restart";
constexpr double kRecheckDelay = 2.0;

constexpr const char* kStartTitle = "Start Apache";
constexpr const char* kStopTitle = "Stop Apache";
constexpr const char* kRunningStatus = "Apache status: Running";
constexpr const char* kStoppedStatus = "Apache status: Stopped";
constexpr const char* kSyntaxOK = "Syntax OK";
constexpr const char* kSyntaxErrors = "Syntax Errors Encountered!";
constexpr const char* kValidCommandCondition = "[validCommands containsObject:command]";
// The pane's error code for a helper tool missing from the installation.
constexpr int kMissingHelperError = 1;

void setEnabled(KLControl* control, bool enabled)
{
    if (control)
        control->setEnabled(enabled);
}

} // namespace

bool KLApacheController::isHelperSetUID() const
{
    return helper_ && helper_->isHelperSetUID();
}

int KLApacheController::webcheckWithArgs(const std::vector<std::string>& arguments)
{
    return helper_ ? helper_->webcheckWithArgs(arguments) : KLWebCheckClient::kToolNotStarted;
}

void KLApacheController::webcheck()
{
    KLPaneContext* pane = KLPaneContext::shared();
    if (!helperPath_) {
        if (pane)
            pane->displayError(kMissingHelperError);
        return;
    }
    // A failed repair is not reported; a successful one reports 0, which
    // shows nothing.
    lastRepairChanged_ = needsRepair();
    for (const std::string& file : {httpdConfFile(), userConfFile()}) {
        if (repairConfFile(file) == 0 && pane)
            pane->displayError(0);
    }
    // Modules are turned on the Debian way, through a2enmod; the server
    // loads them at its next restart.
    bool enabled = false;
    for (const std::string& module : missingModules())
        enabled |= webcheckWithArgs({"-operation", "module", "-data", module}) == 0;
    showModuleProblems();
    ignoresAccessFiles_ = needsRepair();
    checkApacheStatus();
    if (isGraceful_ || (enabled && isApacheRunning_))
        apachectl("graceful");
}

bool KLApacheController::isApacheInstalled() const
{
    return ::access(controlProgram_.c_str(), X_OK) == 0;
}

void KLApacheController::showServerNotice(bool running)
{
    serverNotice_ = KLServerNotice::forServer(isApacheInstalled(), running, ignoresAccessFiles_);
    const bool hidden = serverNotice_.text.empty() || !isEnabled();
    for (KLTextField* field : {outlets_.serverNotice, outlets_.accessNotice}) {
        if (!field)
            continue;
        setStatus(field, serverNotice_.text, kApacheNotConfigured);
        field->setHidden(hidden);
    }
    if (KLButton* button = outlets_.accessNoticeButton) {
        button->setTitle(serverNotice_.actionTitle);
        button->setHidden(hidden || serverNotice_.action == KLServerNotice::Action::None);
    }
}

void KLApacheController::fixServerProblem()
{
    // The button works with the lock closed: it opens it first, and acts
    // once the rights are held.
    if (serverNotice_.action != KLServerNotice::Action::None && outlets_.authView &&
        !outlets_.authView->isAuthorized()) {
        fixOnAuthorization_ = true;
        outlets_.authView->askForRights();
        return;
    }
    switch (serverNotice_.action) {
    case KLServerNotice::Action::StartApache:
        apachectl("start");
        break;
    case KLServerNotice::Action::RepairConfiguration:
        webcheck();
        break;
    case KLServerNotice::Action::None:
        break;
    }
}

void KLApacheController::apachectl(const std::string& command)
{
    KL_PARAMETER_ASSERT_TEXT(std::find(validCommands_.begin(), validCommands_.end(), command) != validCommands_.end(),
                             kValidCommandCondition);
    if (command == "configtest") {
        // Run directly, without privileges: it only reads the configuration.
        auto result = KLChildProcess::run(controlProgram_, {command}, KLChildProcess::Output::Discard,
                                          KLChildProcess::Output::Capture);
        if (result.status == 0) {
            setStatus(outlets_.configCheckStatus, kSyntaxOK, kConfigSuccess);
            showErrorPanel(false);
        } else {
            setStatus(outlets_.configCheckStatus, kSyntaxErrors, kConfigError);
            if (outlets_.configErrorView)
                outlets_.configErrorView->setString(chop(result.errors));
            showErrorPanel(true);
        }
        return;
    }
    // The tool's status is not looked at: the state is set at once and the
    // recheck shows what really happened.
    webcheckWithArgs({"-operation", "ctl", "-data", command});
    setApacheState(command == "stop" ? 0 : 1);
    std::erase_if(rechecks_, [](const std::shared_ptr<KLTimer>& timer) { return !timer->isValid(); });
    rechecks_.push_back(KLRunLoop::main().scheduleOnce(kRecheckDelay, [this] {
        checkApacheStatus();
        KLNotificationCenter::defaultCenter().post(kServerDidChange, this);
    }));
}

void KLApacheController::toggleApache()
{
    apachectl(isApacheRunning_ ? "stop" : "start");
}

void KLApacheController::resetApache()
{
    apachectl(isGraceful_ ? "graceful" : "restart");
}

void KLApacheController::toggleGraceful(const KLButton& sender)
{
    isGraceful_ = sender.state() == 1;
    KLUserDefaults::standardUserDefaults().setBool(isGraceful_, kGracefulRestartKey);
}

void KLApacheController::checkApacheStatus()
{
    setApacheState(serverIsRunning() ? 1 : 0);
}

bool KLApacheController::serverIsRunning() const
{
    const std::vector<std::string> names = processLister_();
    return std::find(names.begin(), names.end(), processName_) != names.end();
}

void KLApacheController::setApacheState(int state)
{
    isApacheRunning_ = state != 0;
    if (state == 1) {
        if (outlets_.toggleButton)
            outlets_.toggleButton->setTitle(kStopTitle);
        const bool authorized = outlets_.authView && outlets_.authView->isAuthorized();
        setEnabled(outlets_.restartButton, authorized);
        setEnabled(outlets_.gracefulSwitch, authorized);
        setStatus(apacheStatus_, kRunningStatus, kStatusFine);
        showServerNotice(true);
    } else if (state == 0) {
        if (outlets_.toggleButton)
            outlets_.toggleButton->setTitle(kStartTitle);
        setEnabled(outlets_.restartButton, false);
        setEnabled(outlets_.gracefulSwitch, false);
        setStatus(apacheStatus_, kStoppedStatus, kApacheNotRunning);
        showServerNotice(false);
    }
}

void KLApacheController::setStatus(KLTextField* field, const std::string& text, const std::string& statusName)
{
    if (!field)
        return;
    field->setStringValue(text);
    field->setTextColor(colors_.at(statusName));
}

void KLApacheController::showErrorPanel(bool show)
{
    if (show == errorPanelIsVisible_)
        return;
    if (outlets_.configErrorView)
        outlets_.configErrorView->setHidden(!show);
    errorPanelIsVisible_ = show;
}

void KLApacheController::enable()
{
    if (apacheT_)
        return;
    // The first check comes one interval after enabling; what is wrong with
    // the server is said at once.
    apacheT_ = KLRunLoop::main().scheduleRepeating(KLUserDefaults::standardUserDefaults().doubleForKey(kCheckIntervalKey),
                                                   [this] { checkApacheStatus(); });
    ignoresAccessFiles_ = needsRepair();
    showServerNotice(serverIsRunning());
}

void KLApacheController::disable()
{
    if (outlets_.authView)
        outlets_.authView->deauthorize();
    if (apacheT_)
        apacheT_->cancel();
    apacheT_.reset();
    showServerNotice(isApacheRunning_); // hides it: a disabled controller says nothing
}

void KLApacheController::authorizationViewDidAuthorize(KLAuthorizationView&)
{
    setEnabled(outlets_.toggleButton, true);
    setEnabled(outlets_.webcheckButton, true);
    setEnabled(outlets_.restartButton, isApacheRunning_);
    setEnabled(outlets_.gracefulSwitch, isApacheRunning_);
    if (std::exchange(fixOnAuthorization_, false))
        fixServerProblem();
}

void KLApacheController::authorizationViewDidDeauthorize(KLAuthorizationView&)
{
    setEnabled(outlets_.toggleButton, false);
    setEnabled(outlets_.restartButton, false);
    setEnabled(outlets_.gracefulSwitch, false);
    setEnabled(outlets_.webcheckButton, false);
    fixOnAuthorization_ = false;
}
