#include "KLUserCommands.h"

#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLTerminal.h"
#include "KLUsersDataSource.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

constexpr const char* kPasswordPrompt = "Password: ";
constexpr const char* kConfirmPrompt = "Password (again): ";
constexpr const char* kNotEditing = "Cannot edit user ";
constexpr const char* kDeleting = "Deleting user \"%s\"";
constexpr const char* kTruncated =
    "the password is longer than 8 characters: only its first 8 characters are used (DES crypt)";

// The sheet's two password fields: typed twice on a terminal, or the first
// line of standard input for both.
std::pair<std::string, std::string> readPasswords()
{
    if (!KLTerminal::isInteractive()) {
        std::string line = KLTerminal::readLine({}).value_or("");
        return {line, line};
    }
    std::string password = KLTerminal::readSecret(kPasswordPrompt).value_or("");
    std::string confirm = KLTerminal::readSecret(kConfirmPrompt).value_or("");
    return {password, confirm};
}

// Fills the open sheet and presses its OK button; the sheet's own checks
// decide, and their message is the refusal. A numbered error (no hash made)
// fails the command with its own text.
void submitSheet(KLCliController& controller, const std::pair<std::string, std::string>& passwords)
{
    KLHeadlessOutlets& views = controller.views();
    views.passField.setStringValue(passwords.first);
    views.confirmField.setStringValue(passwords.second);
    controller.endNewUser(nullptr);
    std::vector<std::string> failures = views.alerts.failures();
    if (!failures.empty())
        throw KLCliError(KLExitStatus::Failure, failures.front());
    std::string message = views.errorField.stringValue();
    if (!message.empty())
        throw KLCliError(KLExitStatus::Refused, message);
}

// --hash, already checked by the parser, for this run only.
void chooseHash(KLCliController& controller, const std::string& hash)
{
    if (std::optional<KLPasswordHash::Kind> kind = KLPasswordHash::choice(hash))
        controller.setPasswordHashForThisRun(*kind);
}

// The hash is made all the same; the person should know that the rest of the
// password does not count.
void warnIfTruncated(KLCliSession& session, KLCliController& controller,
                     const std::pair<std::string, std::string>& passwords)
{
    if (controller.passwordHashKind() == KLPasswordHash::Kind::DES &&
        KLUsersDataSource::passwordIsTruncated(passwords.first))
        session.output.warn(kTruncated);
}

void printUsers(KLCliSession& session, KLCliController& controller)
{
    if (session.output.isJSON()) {
        session.output.emitJSONBy([&controller](std::FILE* stream) { controller.writeUserListJSON(stream); });
        return;
    }
    std::string text;
    for (const std::string& name : controller.userNames())
        text += name + "\n";
    session.output.emitWritten({}, std::move(text));
}

} // namespace

void KLUserCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* user = app.add_subcommand("user", "The users of the users file");
    user->require_subcommand(1);
    user->add_subcommand("list", "The user names")->callback([&session] {
        session.setAction([&session] { list(session); });
    });

    auto name = std::make_shared<std::string>();
    auto hash = std::make_shared<std::string>();
    struct Command
    {
        const char* name;
        const char* help;
        void (*run)(KLCliSession&, const std::string& name, const std::string& hash);
        bool takesHash;
    };
    for (const Command& command : {
             Command{"add", "Add a user; the password is asked twice, or read from standard input", &add, true},
             Command{"passwd", "Set a user's password", &passwd, true},
             Command{"delete", "Delete a user and take it out of every group (asks first)",
                     [](KLCliSession& session, const std::string& name, const std::string&) { remove(session, name); },
                     false},
         }) {
        CLI::App* sub = user->add_subcommand(command.name, command.help);
        sub->add_option("NAME", *name, "User name")->required();
        if (command.takesHash)
            sub->add_option("--hash", *hash, "Hash the password with des or bcrypt (default: \"Password Hash\")")
                ->check(CLI::IsMember({"des", "bcrypt"}, CLI::ignore_case));
        auto run = command.run;
        sub->callback([&session, name, hash, run] {
            session.setAction([&session, name, hash, run] { run(session, *name, *hash); });
        });
    }
}

void KLUserCommands::list(KLCliSession& session)
{
    printUsers(session, session.controller(KLFileLock::Mode::Shared));
}

void KLUserCommands::add(KLCliSession& session, const std::string& name, const std::string& hash)
{
    std::pair<std::string, std::string> passwords = readPasswords();
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    chooseHash(controller, hash);
    controller.addUser(nullptr);
    controller.views().userField.setStringValue(name);
    submitSheet(controller, passwords);
    warnIfTruncated(session, controller, passwords);
    printUsers(session, controller);
}

void KLUserCommands::passwd(KLCliSession& session, const std::string& name, const std::string& hash)
{
    // Asked before locking, as for add: a prompt left open must not hold up
    // every other run on this root.
    std::pair<std::string, std::string> passwords = readPasswords();
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    chooseHash(controller, hash);
    int row = controller.userRow(name);
    KLHeadlessOutlets& views = controller.views();
    views.userTable.selectRow(row, false);
    controller.editUser(nullptr);
    if (views.userField.isEnabled())
        throw KLCliError(KLExitStatus::Failure, kNotEditing + name);
    submitSheet(controller, passwords);
    warnIfTruncated(session, controller, passwords);
    printUsers(session, controller);
}

void KLUserCommands::remove(KLCliSession& session, const std::string& name)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    int row = controller.userRow(name);
    controller.views().userTable.selectRow(row, false);
    controller.deleteUser(nullptr);
    std::string what(kDeleting);
    controller.requireConfirmation(what.replace(what.find("%s"), 2, name));
    printUsers(session, controller);
}
