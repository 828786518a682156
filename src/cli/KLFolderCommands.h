#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}
class KLCliSession;
class KLCliController;
class KLFSItem;

// show, tree, protect, allow, revoke, address-mode and clear: the folder
// tree and the access rules of one folder, through the folder outline and
// the users, groups and address lists, as clicks in the pane would go.
class KLFolderCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);
    // Every folder of the tree, depth first in the outline's order; a link
    // back to one of its own ancestors is visited, not entered.
    static void forEachFolder(KLCliController& controller, const std::function<void(KLFSItem&)>& visit);

    // What allow and revoke name.
    struct Grant
    {
        std::vector<std::string> users;
        bool anyUser = false;
        std::vector<std::string> groups;
        std::vector<std::string> addresses;
    };

private:
    static void show(KLCliSession& session, const std::string& folder);
    static void tree(KLCliSession& session);
    static void protect(KLCliSession& session, const std::string& folder, const std::string& mode);
    static void grant(KLCliSession& session, const std::string& folder, Grant grant, bool on);
    static void addressMode(KLCliSession& session, const std::string& folder, const std::string& mode);
    static void clear(KLCliSession& session, const std::string& folder);
    static void printFolder(KLCliSession& session, KLCliController& controller, const std::string& folder);
    // After a change: fails when the folder's access file does not hold it.
    static void printWrittenFolder(KLCliSession& session, KLCliController& controller, const std::string& folder);
};
