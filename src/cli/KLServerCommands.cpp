#include "KLServerCommands.h"

#include "KLApacheController.h"
#include "KLCliAuthorizationView.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLHeadlessButton.h"
#include "KLHeadlessPopUpButton.h"
#include "KLHeadlessTextField.h"
#include "KLHeadlessTextView.h"
#include "KLPlainRunLoop.h"
#include "KLPrintingWorkspace.h"
#include "KLTerminal.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

constexpr const char* kStatus = "status";
constexpr const char* kStart = "start";
constexpr const char* kStop = "stop";
constexpr const char* kConfigtest = "configtest";
constexpr const char* kLogs = "logs";
constexpr const char* kRepair = "repair";

constexpr const char* kNotAuthorized = "Not authorized to control the web server";
constexpr const char* kNoHelper = "The helper tool WebCheck is not installed";
constexpr const char* kDidNotStart = "Apache did not start";
constexpr const char* kDidNotStop = "Apache is still running";
constexpr const char* kNotRepaired = "The server configuration still keeps access files from taking effect";
constexpr const char* kNothingToRepair = "Nothing to repair: access files already take effect";
constexpr const char* kLogSearchUnfinished = "The search for log files did not finish";

// The controller checks the server's state this long after a command.
constexpr double kRecheckWait = 3.0;
constexpr double kLogSearchWait = 20.0;

// The web server tab without a window.
struct ServerViews
{
    KLHeadlessButton toggleButton, restartButton, gracefulSwitch, configCheckButton, logDisplayButton, webcheckButton;
    KLHeadlessTextField configCheckStatus, apacheStatus, moduleProblems;
    KLHeadlessTextView configErrorView;
    KLHeadlessPopUpButton logPicker;
    KLCliAuthorizationView authView;
    KLPrintingWorkspace workspace;

    KLApacheControllerOutlets outlets()
    {
        KLApacheControllerOutlets o;
        o.toggleButton = &toggleButton;
        o.restartButton = &restartButton;
        o.gracefulSwitch = &gracefulSwitch;
        o.configCheckButton = &configCheckButton;
        o.configCheckStatus = &configCheckStatus;
        o.configErrorView = &configErrorView;
        o.logPicker = &logPicker;
        o.logDisplayButton = &logDisplayButton;
        o.webcheckButton = &webcheckButton;
        o.moduleProblems = &moduleProblems;
        o.authView = &authView;
        o.workspace = &workspace;
        return o;
    }
};

void requireRights(ServerViews& views, KLApacheController& apache)
{
    if (!views.authView.authorize(KLTerminal::isInteractive()))
        throw KLCliError(KLExitStatus::NotAuthorized, kNotAuthorized);
    if (!apache.helperPath())
        throw KLCliError(KLExitStatus::Failure, kNoHelper);
}

nlohmann::json statusOf(KLApacheController& apache, const ServerViews& views)
{
    return {
        {"running", apache.isApacheRunning()},
        {"status", views.apacheStatus.stringValue()},
        {"configFile", apache.httpdConfFile()},
        {"userConfFile", apache.userConfFile()},
        // As in the pane, the user's own configuration file decides for the files.
        {"needsRepair", apache.webcheckCheck() || !apache.missingModules().empty()},
        {"problems", views.moduleProblems.stringValue()},
        {"helper", apache.helperPath().value_or("")},
        {"helperInstalled", apache.isHelperSetUID()},
    };
}

std::string statusText(const nlohmann::json& status)
{
    std::string text;
    for (const auto& [key, value] : status.items())
        text += key + ": " + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    return text;
}

} // namespace

void KLServerCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* server = app.add_subcommand("server", "The local Apache web server");
    server->require_subcommand(1);
    struct Command
    {
        const char* name;
        const char* help;
    };
    for (const Command& command : {
             Command{kStatus, "Whether the server runs, and where its configuration is"},
             Command{kStart, "Start the server (needs administrator rights)"},
             Command{kStop, "Stop the server (needs administrator rights)"},
             Command{"restart", "Restart the server (needs administrator rights)"},
             Command{"graceful", "Restart the server gracefully (needs administrator rights)"},
             Command{kConfigtest, "Check the configuration's syntax"},
             Command{kLogs, "The server's log files"},
             Command{kRepair, "Let folder access files take effect (AllowOverride, Apache modules), then restart gracefully"},
         }) {
        std::string name = command.name;
        server->add_subcommand(command.name, command.help)->callback([&session, name] {
            session.setAction([&session, name] { run(session, name); });
        });
    }
}

void KLServerCommands::run(KLCliSession& session, const std::string& command)
{
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    ServerViews views;
    KLApacheController apache;
    apache.setStatusDisplay(&views.apacheStatus);
    apache.awakeFromNib(views.outlets());
    apache.checkApacheStatus();

    if (command == kStatus) {
        nlohmann::json status = statusOf(apache, views);
        session.output.emit(status, statusText(status));
    } else if (command == kConfigtest) {
        apache.checkApacheConfig();
        std::string verdict = views.configCheckStatus.stringValue();
        if (apache.errorPanelIsVisible()) {
            // The server's own report is the output; the verdict is the error line.
            session.output.emit({{"ok", false}, {"errors", views.configErrorView.string()}},
                                views.configErrorView.string());
            session.output.flush();
            throw KLCliError(KLExitStatus::Failure, verdict);
        }
        session.output.emit({{"ok", true}}, verdict);
    } else if (command == kLogs) {
        if (!loop->runUntil([&apache] { return !apache.isFindingLogs(); }, kLogSearchWait))
            throw KLCliError(KLExitStatus::Failure, kLogSearchUnfinished);
        std::string text;
        for (const std::string& log : apache.logs())
            text += log + "\n";
        session.output.emit(apache.logs(), text);
    } else if (command == kRepair) {
        requireRights(views, apache);
        apache.webcheck();
        loop->runUntil([] { return false; }, kRecheckWait);
        if (apache.needsRepair())
            throw KLCliError(KLExitStatus::Failure, kNotRepaired);
        nlohmann::json status = statusOf(apache, views);
        status["changed"] = apache.lastRepairChanged();
        session.output.emit(status, apache.lastRepairChanged() ? statusText(status) : std::string(kNothingToRepair) + "\n");
    } else {
        requireRights(views, apache);
        apache.apachectl(command);
        // The controller looks at the real state once the command had time.
        loop->runUntil([] { return false; }, kRecheckWait);
        apache.checkApacheStatus();
        if (command == kStop && apache.isApacheRunning())
            throw KLCliError(KLExitStatus::Failure, kDidNotStop);
        if (command != kStop && !apache.isApacheRunning())
            throw KLCliError(KLExitStatus::Failure, kDidNotStart);
        nlohmann::json status = statusOf(apache, views);
        session.output.emit(status, statusText(status));
    }
}
