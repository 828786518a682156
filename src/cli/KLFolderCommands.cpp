#include "KLFolderCommands.h"

#include "KLAddressDataSource.h"
#include "KLCell.h"
#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFolderAncestry.h"
#include "KLGroupsDataSource.h"
#include "KLPlistJSON.h"
#include "KLUserItem.h"
#include "KLUsersDataSource.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>

namespace {

constexpr std::array<const char*, 5> kModes = {"none", "password", "address", "any", "all"};
// The keys of a folder's state, in the order the text output shows them.
constexpr std::array<const char*, 9> kStateKeys = {"path",  "mode",   "disabled",  "status",       "addressMode",
                                                   "users", "groups", "addresses", "hasAccessFile"};
constexpr const char* kAllow = "allow";
constexpr const char* kDeny = "deny";
constexpr const char* kProtectColumn = "protect";
constexpr const char* kActiveColumn = "active";
constexpr int kAllowRow = 0;
constexpr int kDenyRow = 1;

constexpr const char* kNothingNamed = "Name at least one --user, --any-user, --group or --address";
constexpr const char* kNotPasswordProtected = "Folder \"%s\" is not password protected";
constexpr const char* kNotAddressProtected = "Folder \"%s\" is not address protected";
constexpr const char* kNoAccessFile = "Folder \"%s\" has no access file";
constexpr const char* kBadAddress = "Address \"%s\" cannot be used";
constexpr const char* kNoSuchAddress = "No such address: ";
constexpr const char* kClearing = "Deleting the access file of \"%s\"";
constexpr const char* kNotWritten = "The access file of \"%s\" could not be written";

std::string withText(const char* format, const std::string& text)
{
    std::string message(format);
    message.replace(message.find("%s"), 2, text);
    return message;
}

std::string lowercase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Whether the pane would let the check box of this row be clicked.
bool tableCellEnabled(KLTableDataSource& source, KLListView& view, int row)
{
    KLCell cell;
    source.willDisplayCell(view, cell, kActiveColumn, row);
    return cell.enabled;
}

bool outlineCellEnabled(KLOutlineDataSource& source, KLListView& view, KLItem item)
{
    KLCell cell;
    source.willDisplayCell(view, cell, kActiveColumn, item);
    return cell.enabled;
}

} // namespace

void KLFolderCommands::addTo(CLI::App& app, KLCliSession& session)
{
    auto folder = std::make_shared<std::string>();
    auto mode = std::make_shared<std::string>();

    CLI::App* show = app.add_subcommand("show", "The access state of a folder (default: the root)");
    show->add_option("FOLDER", *folder, "Folder, relative to the root or absolute inside it");
    show->callback([&session, folder] { session.setAction([&session, folder] { KLFolderCommands::show(session, *folder); }); });

    app.add_subcommand("tree", "Every folder below the root, depth first, with its protection")
        ->callback([&session] { session.setAction([&session] { tree(session); }); });

    CLI::App* protect = app.add_subcommand("protect", "Choose a folder's protection, as the pane's menu does");
    protect->add_option("FOLDER", *folder, "Folder")->required();
    protect->add_option("MODE", *mode, "none, password, address, any (password or address) or all (both)")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>(kModes.begin(), kModes.end())));
    protect->callback([&session, folder, mode] {
        session.setAction([&session, folder, mode] { KLFolderCommands::protect(session, *folder, *mode); });
    });

    for (bool on : {true, false}) {
        auto grant = std::make_shared<Grant>();
        CLI::App* command = app.add_subcommand(on ? "allow" : "revoke",
                                               on ? "Let users, groups or addresses into a folder"
                                                  : "Take users, groups or addresses out of a folder's rules");
        command->add_option("FOLDER", *folder, "Folder")->required();
        command->add_option("--user", grant->users, "A user of the users file")->type_name("NAME");
        command->add_flag("--any-user", grant->anyUser, "Every user of the users file");
        command->add_option("--group", grant->groups, "A group of the groups file")->type_name("NAME");
        command->add_option("--address", grant->addresses, "A client address (added to the known addresses)")
            ->type_name("ADDR");
        command->callback([&session, folder, grant, on] {
            session.setAction([&session, folder, grant, on] { KLFolderCommands::grant(session, *folder, *grant, on); });
        });
    }

    CLI::App* addressMode = app.add_subcommand("address-mode", "Let in only the listed addresses, or keep them out");
    addressMode->add_option("FOLDER", *folder, "Folder")->required();
    addressMode->add_option("MODE", *mode, "allow or deny")->required()->check(CLI::IsMember({kAllow, kDeny}));
    addressMode->callback([&session, folder, mode] {
        session.setAction([&session, folder, mode] { KLFolderCommands::addressMode(session, *folder, *mode); });
    });

    CLI::App* clear = app.add_subcommand("clear", "Delete a folder's access file (asks first)");
    clear->add_option("FOLDER", *folder, "Folder")->required();
    clear->callback([&session, folder] { session.setAction([&session, folder] { KLFolderCommands::clear(session, *folder); }); });
}

void KLFolderCommands::printFolder(KLCliSession& session, KLCliController& controller, const std::string& folder)
{
    nlohmann::json state = controller.folderState(controller.selectFolder(folder));
    std::string text;
    for (const char* key : kStateKeys) {
        const nlohmann::json& value = state[key];
        std::string shown;
        if (value.is_array()) {
            for (const nlohmann::json& element : value)
                shown += (shown.empty() ? "" : " ") + element.get<std::string>();
        } else {
            shown = value.is_string() ? value.get<std::string>() : value.dump();
        }
        text += std::string(key) + ": " + shown + "\n";
    }
    session.output.emit(state, text);
}

void KLFolderCommands::printWrittenFolder(KLCliSession& session, KLCliController& controller,
                                          const std::string& folder)
{
    KLFSItem& item = controller.selectFolder(folder);
    if (!controller.accessFileHolds(item)) {
        // The controller's alert says why, when it knows.
        std::vector<std::string> told = controller.views().alerts.failures();
        throw KLCliError(KLExitStatus::Failure,
                         told.empty() ? withText(kNotWritten, controller.displayPathOf(item)) : told.front());
    }
    printFolder(session, controller, folder);
}

void KLFolderCommands::show(KLCliSession& session, const std::string& folder)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Shared);
    printFolder(session, controller, folder);
}

void KLFolderCommands::forEachFolder(KLCliController& controller, const std::function<void(KLFSItem&)>& visit)
{
    // Links to folders count as folders, so a link back up would repeat its
    // target below itself without end: a folder that is already one of its
    // own ancestors is listed, not entered.
    struct Pending
    {
        KLFSItem* item;
        std::shared_ptr<const KLFolderAncestry> ancestry;
    };
    std::vector<Pending> pending = {{controller.folderSource().rootItem(), nullptr}};
    while (!pending.empty()) {
        Pending next = pending.back();
        pending.pop_back();
        KLFSItem* item = next.item;
        visit(*item);
        std::shared_ptr<const KLFolderAncestry> ancestry = next.ancestry;
        if (!KLFolderAncestry::enter(ancestry, item->fullPath()))
            continue;
        for (int i = item->numberOfChildren() - 1; i >= 0; --i)
            pending.push_back({item->childAtIndex(i), ancestry});
    }
}

void KLFolderCommands::tree(KLCliSession& session)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Shared);
    nlohmann::json rows = nlohmann::json::array();
    std::string text;
    forEachFolder(controller, [&](KLFSItem& item) {
        std::string mode = kModes.at(static_cast<std::size_t>(controller.protectionIndex(item)));
        std::string path = controller.displayPathOf(item);
        rows.push_back({{"path", path}, {"mode", mode}, {"hasAccessFile", item.hasAccessFile()}});
        text += mode + std::string(10 - std::min<std::size_t>(mode.size(), 9), ' ') + path + "\n";
    });
    session.output.emit(rows, text);
}

void KLFolderCommands::protect(KLCliSession& session, const std::string& folder, const std::string& mode)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLFSItem& item = controller.selectFolder(folder);
    auto index = std::find(kModes.begin(), kModes.end(), mode) - kModes.begin();
    controller.folderSource().setObjectValue(controller.views().webDirOutline, KLPlist(static_cast<int>(index)),
                                       kProtectColumn, &item);
    printWrittenFolder(session, controller, folder);
}

void KLFolderCommands::grant(KLCliSession& session, const std::string& folder, Grant grant, bool on)
{
    if (grant.users.empty() && !grant.anyUser && grant.groups.empty() && grant.addresses.empty())
        throw KLCliError(KLExitStatus::Usage, kNothingNamed);
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLFSItem& item = controller.selectFolder(folder);
    KLHeadlessOutlets& views = controller.views();
    std::string shownFolder = controller.displayPathOf(item);

    // Everything is checked before anything changes.
    std::vector<int> userRows;
    for (const std::string& name : grant.users)
        userRows.push_back(controller.userRow(name));
    std::vector<KLUserItem*> groupNodes;
    for (const std::string& name : grant.groups)
        groupNodes.push_back(&controller.groupNode(name));
    for (std::string& address : grant.addresses) {
        address = lowercase(address);
        if (!FendrelPref::isUsableAddress(address))
            throw KLCliError(KLExitStatus::Refused, withText(kBadAddress, address));
        if (!on && controller.indexOfAddress(address) == KLPaneContext::kNotFound)
            throw KLCliError(KLExitStatus::NotFound, kNoSuchAddress + address);
    }
    KLUsersDataSource& users = controller.userSource();
    if (grant.anyUser && !tableCellEnabled(users, views.userTable, 0))
        throw KLCliError(KLExitStatus::Refused, withText(kNotPasswordProtected, shownFolder));
    for (int row : userRows)
        if (!tableCellEnabled(users, views.userTable, row))
            throw KLCliError(KLExitStatus::Refused, withText(kNotPasswordProtected, shownFolder));
    KLGroupsDataSource& groups = controller.groupSource();
    for (KLUserItem* node : groupNodes)
        if (!outlineCellEnabled(groups, views.groupOutline, node))
            throw KLCliError(KLExitStatus::Refused, withText(kNotPasswordProtected, shownFolder));
    KLAddressDataSource& addresses = controller.addressSource();
    // The address check boxes follow the folder's address protection.
    if (!grant.addresses.empty() && !item.isAddressProtected())
        throw KLCliError(KLExitStatus::Refused, withText(kNotAddressProtected, shownFolder));

    if (grant.anyUser)
        users.setObjectValue(views.userTable, KLPlist(on), kActiveColumn, 0);
    for (int row : userRows)
        users.setObjectValue(views.userTable, KLPlist(on), kActiveColumn, row);
    for (KLUserItem* node : groupNodes)
        groups.setObjectValue(views.groupOutline, KLPlist(on), kActiveColumn, node);
    for (const std::string& address : grant.addresses) {
        if (on && controller.indexOfAddress(address) == KLPaneContext::kNotFound)
            controller.addKnownAddress(address);
        int row = controller.addressRow(address);
        addresses.setObjectValue(views.addressTable, KLPlist(on), kActiveColumn, row);
    }
    printWrittenFolder(session, controller, folder);
}

void KLFolderCommands::addressMode(KLCliSession& session, const std::string& folder, const std::string& mode)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLFSItem& item = controller.selectFolder(folder);
    KLHeadlessMatrix& matrix = controller.views().addressMode;
    if (!matrix.isEnabled())
        throw KLCliError(KLExitStatus::Refused, withText(kNotAddressProtected, controller.displayPathOf(item)));
    matrix.selectCellAtRow(mode == kAllow ? kAllowRow : kDenyRow);
    controller.changeAddressMode(&matrix);
    printWrittenFolder(session, controller, folder);
}

void KLFolderCommands::clear(KLCliSession& session, const std::string& folder)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLFSItem& item = controller.selectFolder(folder);
    if (!item.hasAccessFile())
        throw KLCliError(KLExitStatus::Refused, withText(kNoAccessFile, controller.displayPathOf(item)));
    controller.clearAccessPrompt(nullptr);
    controller.requireConfirmation(withText(kClearing, controller.displayPathOf(item)));
    printWrittenFolder(session, controller, folder);
}
