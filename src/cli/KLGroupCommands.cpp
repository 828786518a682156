#include "KLGroupCommands.h"

#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLGroupsDataSource.h"
#include "KLPasteboard.h"
#include "KLUserItem.h"
#include "KLUsersDataSource.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace {

constexpr const char* kGroupColumn = "group";
constexpr const char* kBadGroupName =
    "Group names must be unique and cannot contain spaces, tabs, or line returns";
constexpr const char* kUnstorableName = "Invalid group name. Please choose another";
constexpr const char* kAlreadyMember = "User \"%u\" is already in group \"%g\"";
constexpr const char* kNotAdded = "Cannot add user \"%u\" to group \"%g\"";
constexpr const char* kDeletingGroup = "Deleting group \"%g\"";
constexpr const char* kRemovingMember = "Removing user \"%u\" from group \"%g\"";

std::string filled(std::string text, const std::string& user, const std::string& group)
{
    for (auto [token, value] : {std::pair{"%u", &user}, std::pair{"%g", &group}}) {
        std::size_t at = text.find(token);
        if (at != std::string::npos)
            text.replace(at, 2, *value);
    }
    return text;
}

// The groups file is plain ASCII, one "name: members" line a group; the pane
// would keep any other name in memory only.
bool isStorableName(const std::string& name)
{
    return std::all_of(name.begin(), name.end(), [](char c) {
        auto byte = static_cast<unsigned char>(c);
        return byte > 0x20 && byte < 0x7f;
    });
}

} // namespace

void KLGroupCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* group = app.add_subcommand("group", "The groups of the groups file");
    group->require_subcommand(1);
    group->add_subcommand("list", "The groups with their members")->callback([&session] {
        session.setAction([&session] { list(session); });
    });

    auto first = std::make_shared<std::string>();
    auto second = std::make_shared<std::string>();

    CLI::App* add = group->add_subcommand("add", "Add a group");
    add->add_option("NAME", *first, "Group name")->required();
    add->callback([&session, first] { session.setAction([&session, first] { KLGroupCommands::add(session, *first); }); });

    CLI::App* rename = group->add_subcommand("rename", "Rename a group");
    rename->add_option("OLD", *first, "Current name")->required();
    rename->add_option("NEW", *second, "New name")->required();
    rename->callback([&session, first, second] {
        session.setAction([&session, first, second] { KLGroupCommands::rename(session, *first, *second); });
    });

    CLI::App* remove = group->add_subcommand("delete", "Delete a group (asks first)");
    remove->add_option("NAME", *first, "Group name")->required();
    remove->callback(
        [&session, first] { session.setAction([&session, first] { KLGroupCommands::remove(session, *first); }); });

    CLI::App* addMember = group->add_subcommand("add-member", "Put a user into a group");
    addMember->add_option("GROUP", *first, "Group name")->required();
    addMember->add_option("USER", *second, "User name")->required();
    addMember->callback([&session, first, second] {
        session.setAction([&session, first, second] { KLGroupCommands::addMember(session, *first, *second); });
    });

    CLI::App* removeMember = group->add_subcommand("remove-member", "Take a user out of a group (asks first)");
    removeMember->add_option("GROUP", *first, "Group name")->required();
    removeMember->add_option("USER", *second, "User name")->required();
    removeMember->callback([&session, first, second] {
        session.setAction([&session, first, second] { KLGroupCommands::removeMember(session, *first, *second); });
    });
}

void KLGroupCommands::printGroups(KLCliSession& session, KLCliController& controller)
{
    nlohmann::json groups = controller.groupList();
    std::string text;
    for (const nlohmann::json& group : groups) {
        text += group["name"].get<std::string>() + ":";
        for (const nlohmann::json& member : group["members"])
            text += " " + member.get<std::string>();
        text += "\n";
    }
    session.output.emit(groups, text);
}

void KLGroupCommands::endNameEdit(KLCliController& controller, KLUserItem& group, const std::string& name)
{
    KLGroupsDataSource& groups = controller.groupSource();
    KLHeadlessListView& outline = controller.views().groupOutline;
    if (!groups.textShouldEndEditing(outline, name))
        throw KLCliError(KLExitStatus::Refused, kBadGroupName);
    if (!isStorableName(name))
        throw KLCliError(KLExitStatus::Refused, kUnstorableName);
    groups.setObjectValue(outline, KLPlist(name), kGroupColumn, &group);
    outline.endEditing();
}

void KLGroupCommands::list(KLCliSession& session)
{
    printGroups(session, session.controller(KLFileLock::Mode::Shared));
}

void KLGroupCommands::add(KLCliSession& session, const std::string& name)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    controller.addGroup(nullptr);
    KLHeadlessListView& outline = controller.views().groupOutline;
    auto* group = static_cast<KLUserItem*>(outline.itemAtRow(outline.editedRow()));
    if (!group)
        throw KLCliError(KLExitStatus::Failure, kBadGroupName);
    endNameEdit(controller, *group, name);
    printGroups(session, controller);
}

void KLGroupCommands::rename(KLCliSession& session, const std::string& oldName, const std::string& newName)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLUserItem& group = controller.groupNode(oldName);
    controller.selectGroupNode(group);
    KLHeadlessListView& outline = controller.views().groupOutline;
    outline.editColumn(kGroupColumn, outline.rowForItem(&group));
    endNameEdit(controller, group, newName);
    printGroups(session, controller);
}

void KLGroupCommands::remove(KLCliSession& session, const std::string& name)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    controller.selectGroupNode(controller.groupNode(name));
    controller.deleteGroup(nullptr);
    controller.requireConfirmation(filled(kDeletingGroup, {}, name));
    printGroups(session, controller);
}

void KLGroupCommands::addMember(KLCliSession& session, const std::string& groupName, const std::string& user)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLUserItem& group = controller.groupNode(groupName);
    int row = controller.userRow(user);
    if (const KLUserItem::Children* members = group.children()) {
        for (const auto& member : *members)
            if (member->value() == user)
                throw KLCliError(KLExitStatus::Refused, filled(kAlreadyMember, user, groupName));
    }
    // A drag of the user's row onto the group, dropped after its last member.
    KLHeadlessOutlets& views = controller.views();
    KLPasteboard pasteboard;
    int index = group.children() ? static_cast<int>(group.children()->size()) : 0;
    KLGroupsDataSource& groups = controller.groupSource();
    if (!controller.userSource().writeRows(views.userTable, {row}, pasteboard) ||
        groups.validateDrop(views.groupOutline, pasteboard, &group, index) == KLDragOperation::None ||
        !groups.acceptDrop(views.groupOutline, pasteboard, &group, index))
        throw KLCliError(KLExitStatus::Failure, filled(kNotAdded, user, groupName));
    printGroups(session, controller);
}

void KLGroupCommands::removeMember(KLCliSession& session, const std::string& groupName, const std::string& user)
{
    KLCliController& controller = session.controller(KLFileLock::Mode::Exclusive);
    KLUserItem& group = controller.groupNode(groupName);
    controller.selectGroupNode(controller.memberNode(group, user));
    controller.deleteGroup(nullptr);
    controller.requireConfirmation(filled(kRemovingMember, user, groupName));
    printGroups(session, controller);
}
