#include "KLCommandLine.h"

#include "FendrelPref.h"
#include "KLBundle.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLLog.h"
#include "KLAddressCommands.h"
#include "KLFolderCommands.h"
#include "KLGroupCommands.h"
#include "KLServerCommands.h"
#include "KLSettingsCommands.h"
#include "KLUpdateCommands.h"
#include "KLUserCommands.h"
#include "KLVerifyCommand.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <syslog.h>

namespace {

constexpr const char* kProgram = "fendrelctl";
constexpr const char* kDescription =
    "Protect folders published by the local Apache web server: the Fendrel pane on the command line.";
constexpr const char* kUsageHint = "Run 'fendrelctl --help' for usage.";
constexpr const char* kUnknownFailure = "unexpected failure";

// One line whatever the message quotes: a typed name or address may hold
// line breaks or other control characters.
void printError(std::string message)
{
    for (char& c : message) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    }
    std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
}

// The controller logs every folder it reads; on the command line those lines
// go to the system log only, so standard error carries just the error line.
void logToSystemLogOnly()
{
    KLSetLogSink([](const std::string& line) { syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str()); });
}

} // namespace

int KLCommandLine::run(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    logToSystemLogOnly();
    // The pane's class start-up: settings under its identifier, its defaults.
    FendrelPref::initialize();

    KLCliSession session;
    CLI::App app(kDescription, kProgram);
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string(kProgram) + " " + applicationVersion());
    app.add_option("--root", session.options.root, "Protected folder root for this run (default: the stored one)")
        ->type_name("DIR");
    app.add_flag("--json", session.options.json, "Machine-readable output (JSON) on standard output");
    app.add_flag("--yes,-y", session.options.yes, "Answer confirmations with yes");

    KLFolderCommands::addTo(app, session);
    KLUserCommands::addTo(app, session);
    KLGroupCommands::addTo(app, session);
    KLAddressCommands::addTo(app, session);
    KLServerCommands::addTo(app, session);
    KLVerifyCommand::addTo(app, session);
    KLSettingsCommands::addTo(app, session);
    KLUpdateCommands::addTo(app, session);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        printError(e.what());
        std::fprintf(stderr, "%s\n", kUsageHint);
        return static_cast<int>(KLExitStatus::Usage);
    }

    try {
        session.run();
        return static_cast<int>(KLExitStatus::Success);
    } catch (const KLCliError& e) {
        printError(e.what());
        return static_cast<int>(e.status());
    } catch (const std::exception& e) {
        printError(e.what());
    } catch (...) {
        printError(kUnknownFailure);
    }
    return static_cast<int>(KLExitStatus::Failure);
}
