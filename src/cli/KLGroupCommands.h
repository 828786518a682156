#pragma once

#include <string>

namespace CLI {
class App;
}
class KLCliController;
class KLCliSession;
class KLUserItem;

// group list|add|rename|delete|add-member|remove-member: the groups outline
// of the pane, its name edits, drops of users onto groups and its delete
// button.
class KLGroupCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void list(KLCliSession& session);
    static void add(KLCliSession& session, const std::string& name);
    static void rename(KLCliSession& session, const std::string& oldName, const std::string& newName);
    static void remove(KLCliSession& session, const std::string& name);
    static void addMember(KLCliSession& session, const std::string& group, const std::string& user);
    static void removeMember(KLCliSession& session, const std::string& group, const std::string& user);
    // Ends the name edit of a group row with the typed text, as the
    // outline view does when Return is pressed.
    static void endNameEdit(KLCliController& controller, KLUserItem& group, const std::string& name);
    static void printGroups(KLCliSession& session, KLCliController& controller);
};
