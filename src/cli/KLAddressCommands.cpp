#include "KLAddressCommands.h"

#include "FendrelPref.h"
#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <memory>

namespace {

constexpr const char* kAlreadyKnown = "Address \"%s\" is already known";
constexpr const char* kBadAddress = "Address \"%s\" cannot be used";

std::string withAddress(const char* format, const std::string& address)
{
    std::string text(format);
    text.replace(text.find("%s"), 2, address);
    return text;
}

// The address table keeps addresses in lower case.
std::string lowercase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

void printAddresses(KLCliSession& session, KLCliController& controller)
{
    std::vector<std::string> addresses = controller.knownAddresses();
    std::string text;
    for (const std::string& address : addresses)
        text += address + "\n";
    session.output.emit(addresses, text);
}

} // namespace

void KLAddressCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* address = app.add_subcommand("address", "The known client addresses offered for address rules");
    address->require_subcommand(1);
    address->add_subcommand("list", "The known addresses")->callback([&session] {
        session.setAction([&session] { list(session); });
    });
    auto value = std::make_shared<std::string>();
    CLI::App* add = address->add_subcommand("add", "Add an address (a host name, IP address or network)");
    add->add_option("ADDR", *value, "Address")->required();
    add->callback([&session, value] { session.setAction([&session, value] { KLAddressCommands::add(session, *value); }); });
    CLI::App* remove = address->add_subcommand("remove", "Remove an address");
    remove->add_option("ADDR", *value, "Address")->required();
    remove->callback(
        [&session, value] { session.setAction([&session, value] { KLAddressCommands::remove(session, *value); }); });
}

void KLAddressCommands::list(KLCliSession& session)
{
    printAddresses(session, session.controller(KLFileLock::Mode::Shared, KLCliSession::Scope::SettingsOnly));
}

void KLAddressCommands::add(KLCliSession& session, const std::string& typed)
{
    std::string address = lowercase(typed);
    if (!FendrelPref::isUsableAddress(address))
        throw KLCliError(KLExitStatus::Refused, withAddress(kBadAddress, address));
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive, KLCliSession::Scope::SettingsOnly);
    if (controller.indexOfAddress(address) != KLPaneContext::kNotFound)
        throw KLCliError(KLExitStatus::Refused, withAddress(kAlreadyKnown, address));
    controller.addKnownAddress(address);
    printAddresses(session, controller);
}

void KLAddressCommands::remove(KLCliSession& session, const std::string& typed)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive, KLCliSession::Scope::SettingsOnly);
    int row = controller.addressRow(lowercase(typed));
    controller.views().addressTable.selectRow(row, false);
    controller.removeAddress(nullptr);
    printAddresses(session, controller);
}
