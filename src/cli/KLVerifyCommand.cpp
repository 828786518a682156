#include "KLVerifyCommand.h"

#include "KLAccessVerifier.h"
#include "KLApacheController.h"
#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFolderCommands.h"
#include "KLPlainRunLoop.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

constexpr const char* kNotProtected = "Folder \"%s\" is not protected";
constexpr const char* kSomeNotEnforced = "%d of %d protected folders are not enforced as their access files say";
constexpr const char* kNoAnswer = "no answer";
// The log search reads the configuration and what it includes; the requests
// give up after 2 seconds each.
constexpr double kLogSearchWait = 20.0;
constexpr double kRequestWait = 2.0 * KLAccessVerifier::kTimeoutSeconds;

std::string withText(std::string format, const std::string& text)
{
    return format.replace(format.find("%s"), 2, text);
}

// The error log lines that name an unreadable access file.
std::vector<std::string> serverLogs(KLPlainRunLoop& loop)
{
    KLApacheController apache;
    apache.findLogs();
    loop.runUntil([&apache] { return !apache.isFindingLogs(); }, kLogSearchWait);
    return apache.logs();
}

nlohmann::json numberOrNull(int value)
{
    return value ? nlohmann::json(value) : nlohmann::json(nullptr);
}

} // namespace

void KLVerifyCommand::addTo(CLI::App& app, KLCliSession& session)
{
    auto folders = std::make_shared<std::vector<std::string>>();
    CLI::App* verify = app.add_subcommand(
        "verify", "Ask the running web server whether each protected folder answers as its access file promises");
    verify->add_option("FOLDER", *folders, "Folders to check (default: every protected folder of the root)");
    verify->callback([&session, folders] { session.setAction([&session, folders] { run(session, *folders); }); });
}

void KLVerifyCommand::run(KLCliSession& session, const std::vector<std::string>& folders)
{
    auto loop = std::make_shared<KLPlainRunLoop>();
    KLRunLoop::setMain(loop);
    KLCliController& controller = session.controller(KLFileLock::Mode::Shared);
    std::vector<KLFSItem*> items;
    if (folders.empty()) {
        KLFolderCommands::forEachFolder(controller, [&](KLFSItem& item) {
            if (controller.protectionIndex(item) != 0)
                items.push_back(&item);
        });
    }
    for (const std::string& folder : folders) {
        KLFSItem& item = controller.selectFolder(folder);
        if (controller.protectionIndex(item) == 0)
            throw KLCliError(KLExitStatus::Refused, withText(kNotProtected, controller.displayPathOf(item)));
        items.push_back(&item);
    }

    std::vector<std::string> logs = serverLogs(*loop);
    KLFSItem& root = *controller.folderSource().rootItem();
    KLAccessVerifier verifier;
    std::optional<KLAccessVerifier::Result> result;
    verifier.verify(items, root, KLAccessVerifier::siteForRoot(root.fullPath()), logs,
                    [&result](const KLAccessVerifier::Result& answer) { result = answer; });
    double wait = kRequestWait * static_cast<double>(items.size() + 1);
    if (!loop->runUntil([&result] { return result.has_value(); }, wait))
        throw KLCliError(KLExitStatus::Failure, "The web server was not asked in time");

    nlohmann::json rows = nlohmann::json::array();
    std::string text;
    int notEnforced = 0;
    for (std::size_t i = 0; i < result->checks.size(); ++i) {
        const KLAccessCheck& check = result->checks[i];
        std::string path = controller.displayPathOf(*items[i]);
        std::string verdict = KLAccessCheck::verdictName(check.verdict);
        rows.push_back({{"path", path},
                        {"mode", KLCliController::modeName(check.mode)},
                        {"expected", numberOrNull(check.expected)},
                        {"status", numberOrNull(check.status)},
                        {"verdict", verdict},
                        {"reason", check.reason}});
        notEnforced += check.verdict != KLAccessCheck::Verdict::Enforced;
        std::string status = check.status ? std::to_string(check.status) : kNoAnswer;
        text += verdict + std::string(14 - verdict.size(), ' ') + path + " (" + status + "): " + check.reason + "\n";
    }
    // A server that does not answer is said once, not for every folder.
    session.output.emit(rows, result->serverAnswered ? text : std::string());
    if (!result->serverAnswered) {
        session.output.flush();
        throw KLCliError(KLExitStatus::NotEnforced, result->serverMessage);
    }
    if (notEnforced) {
        session.output.flush();
        char message[160];
        std::snprintf(message, sizeof message, kSomeNotEnforced, notEnforced, static_cast<int>(items.size()));
        throw KLCliError(KLExitStatus::NotEnforced, message);
    }
}
