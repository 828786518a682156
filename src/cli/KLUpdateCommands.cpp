#include "KLUpdateCommands.h"

#include "KLBundle.h"
#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLPlainRunLoop.h"
#include "KLPlistJSON.h"
#include "KLSUController.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

constexpr double kDefaultTimeout = 30;
// A cancelled check notices within a fraction of a second once connected.
constexpr double kCancelWait = 2;
constexpr const char* kUnfinished = "The update check did not finish within %s seconds";
constexpr const char* kNoOutcome = "The update check ended without a result";
constexpr const char* kBadTimeout = "must be a number of seconds greater than 0";

// The update panel's own texts.
constexpr const char* kHeadline = "A new version of Fendrel is available.";
constexpr const char* kVersionTitle = "Version";
constexpr const char* kSizeTitle = "Size (bytes)";
constexpr const char* kNotesLabel = "Release notes:";
constexpr const char* kInfoTitle = "More info";
constexpr const char* kDownloadTitle = "Download";
constexpr const char* kNoteTitle = "Note";
constexpr const char* kRunningTitle = "running";

constexpr const char* kNewer = "newer";
constexpr const char* kCurrent = "current";
constexpr const char* kNotFound = "not-found";
constexpr const char* kNoConnection = "no-connection";

// An alert's message on the single error line: its paragraphs run on.
std::string oneLine(const std::string& text)
{
    std::string line;
    for (char c : text) {
        if (c != '\n')
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    return line;
}

// CLI11's own positive-number check quotes the largest double in its message.
std::string checkTimeout(const std::string& text)
{
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    bool usable = !text.empty() && end && *end == '\0' && std::isfinite(value) && value > 0;
    return usable ? std::string() : std::string(kBadTimeout);
}

std::string seconds(double value)
{
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text;
}

std::string cellText(KLCliController& controller, const char* column)
{
    KLHeadlessListView& table = controller.views().detailsTable;
    if (!table.tableDataSource() || table.numberOfRows() < 1)
        return {};
    return KLPlistJSON::displayText(table.tableDataSource()->objectValue(table, column, 0));
}

} // namespace

void KLUpdateCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* update = app.add_subcommand("update", "Ask the update service for a newer version");
    update->require_subcommand(1);
    auto timeout = std::make_shared<double>(kDefaultTimeout);
    CLI::App* checkCommand = update->add_subcommand(
        "check", "Ask the \"Update Server\" for a newer version, as Check Now does (exit status 1: no usable "
                 "answer)");
    std::string timeoutHelp = "Give up after this many seconds (default: " + seconds(kDefaultTimeout) + ")";
    checkCommand->add_option("--timeout", *timeout, timeoutHelp)
        ->type_name("SECONDS")
        ->check(CLI::Validator(checkTimeout, "SECONDS"));
    checkCommand->callback(
        [&session, timeout] { session.setAction([&session, timeout] { check(session, *timeout); }); });
}

void KLUpdateCommands::check(KLCliSession& session, double timeoutSeconds)
{
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    KLCliController controller(std::string(), false);
    controller.wakeForUpdates();
    KLHeadlessOutlets& views = controller.views();

    controller.beginSWUCheck(nullptr);
    // The controller stops the progress indicator when the check ends, just
    // before it shows the outcome.
    auto running = [&views] { return views.versionCheckProgress.isAnimating(); };
    if (!loop->runUntil([&running] { return !running(); }, timeoutSeconds)) {
        controller.SWUController()->cancel();
        loop->runUntil([&running] { return !running(); }, kCancelWait);
        std::string message = kUnfinished;
        throw KLCliError(KLExitStatus::Failure, message.replace(message.find("%s"), 2, seconds(timeoutSeconds)));
    }

    if (views.swuPanel.isVisible()) {
        printNewer(session, controller);
        return;
    }
    const std::vector<KLAlert>& notices = views.alerts.notices();
    if (notices.empty())
        throw KLCliError(KLExitStatus::Failure, kNoOutcome);
    printAlert(session, controller, notices.back());
}

void KLUpdateCommands::printNewer(KLCliSession& session, KLCliController& controller)
{
    KLHeadlessOutlets& views = controller.views();
    KLSUController& update = *controller.SWUController();
    std::string version = cellText(controller, KLSUController::kCurrentVersionKey);
    std::string size = cellText(controller, KLSUController::kByteSizeKey);
    std::string notes = views.releaseNotes.string();
    std::string note = views.noteField.stringValue();
    const KLPlist::Array& rows = update.details().dataArray();

    nlohmann::json json = {
        {"status", kNewer},
        {"version", version},
        {"running", applicationVersion()},
        {"details", rows.empty() ? nlohmann::json::object() : KLPlistJSON::toJSON(rows.front())},
        {"releaseNotes", notes},
        {"note", note},
        {"infoPage", update.infoURL()},
        {"downloadURL", update.downloadURL()},
        {"lastCheck", views.lastCheckText.stringValue()},
    };
    std::string text = std::string(kHeadline) + "\n";
    text += std::string(kVersionTitle) + ": " + version + " (" + kRunningTitle + " " + applicationVersion() + ")\n";
    if (!size.empty())
        text += std::string(kSizeTitle) + ": " + size + "\n";
    if (!update.infoURL().empty())
        text += std::string(kInfoTitle) + ": " + update.infoURL() + "\n";
    if (!update.downloadURL().empty())
        text += std::string(kDownloadTitle) + ": " + update.downloadURL() + "\n";
    if (!note.empty())
        text += std::string(kNoteTitle) + ": " + note + "\n";
    if (!notes.empty())
        text += std::string(kNotesLabel) + "\n" + notes + "\n";
    text += views.lastCheckText.stringValue();
    session.output.emit(json, text);
}

void KLUpdateCommands::printAlert(KLCliSession& session, KLCliController& controller, const KLAlert& alert)
{
    nlohmann::json json = {
        {"running", applicationVersion()},
        {"title", alert.title},
        {"message", alert.message},
    };
    if (alert.context == KLSUController::kUpToDateContext) {
        json["status"] = kCurrent;
        json["version"] = applicationVersion();
        json["lastCheck"] = controller.views().lastCheckText.stringValue();
        session.output.emit(json, alert.title + "\n" + alert.message + "\n" + json["lastCheck"].get<std::string>());
        return;
    }
    if (alert.context == KLSUController::kProductNotFoundContext) {
        json["status"] = kNotFound;
    } else if (alert.context == KLSUController::kNoConnectionContext) {
        json["status"] = kNoConnection;
        const std::optional<std::string>& error = controller.SWUController()->error();
        json["error"] = error ? nlohmann::json(*error) : nlohmann::json();
    }
    // The server gave nothing usable: the alert is the error line; scripts
    // asking for JSON still get the outcome on standard output.
    if (session.output.isJSON() && json.contains("status")) {
        session.output.emit(json, {});
        session.output.flush();
    }
    throw KLCliError(KLExitStatus::Failure, oneLine(alert.title + ": " + alert.message));
}
