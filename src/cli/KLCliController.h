#pragma once

#include "FendrelPref.h"
#include "KLHeadlessOutlets.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

class KLAddressDataSource;
class KLFSDataSource;
class KLGroupsDataSource;
class KLUsersDataSource;
class KLFSItem;
class KLUserItem;

// The pane's controller behind headless views. It is the pane's own
// FendrelPref: the command line only selects rows, types into fields and
// calls the actions a click would call, then reads back what the controller
// and its data sources did. The one difference: --root names the protected
// folder root for this run without storing it.
class KLCliController : public FendrelPref
{
public:
    // root: an absolute path, or empty for the stored root.
    KLCliController(const std::string& root, bool assumeYes);

    std::optional<std::string> fendrelLocation(int code) const override;

    // --hash: the kind new passwords get in this run, not stored.
    void setPasswordHashForThisRun(KLPasswordHash::Kind kind) { hashForThisRun_ = kind; }
    KLPasswordHash::Kind passwordHashKind() const override;

    // Creation and start-up as the host does them, over the headless views.
    void wake();
    // Creation only, over the same views: the update check needs neither the
    // folder tree nor the users and groups, so it runs without a root.
    void wakeForUpdates();

    KLHeadlessOutlets& views() { return views_; }
    // The data sources the controller gave its views.
    KLFSDataSource& folderSource();
    KLUsersDataSource& userSource();
    KLGroupsDataSource& groupSource();
    KLAddressDataSource& addressSource();
    std::string rootPath() const { return *fendrelLocation(kRoot); }

    // The folder named on the command line, selected in the folder outline
    // as a click would select it. Throws KLCliError (no such folder).
    KLFSItem& selectFolder(const std::string& folder);
    // Its path as fendrelctl prints it ("." for the root).
    std::string displayPathOf(const KLFSItem& item) const;
    // The protection menu entry the folder outline shows for the item, and
    // the name fendrelctl gives it ("none", "password", ...).
    int protectionIndex(KLFSItem& item);
    static const char* modeName(int index);
    nlohmann::json folderState(KLFSItem& item);
    // Whether the folder's access file, read afresh, gives the state the item
    // holds: a failed write leaves the old file and keeps the new state in
    // memory only.
    bool accessFileHolds(KLFSItem& item);

    // Rows and nodes by name; each throws KLCliError (not found).
    int userRow(const std::string& name);
    KLUserItem& groupNode(const std::string& name);
    KLUserItem& memberNode(KLUserItem& group, const std::string& user);
    int addressRow(const std::string& address);
    // Selects a node of the groups outline, showing its group's members.
    void selectGroupNode(KLUserItem& node);

    // Adds an address to the known addresses as the pane's add row does: a
    // new row, then the typed text. Throws KLCliError when the pane refuses it.
    void addKnownAddress(const std::string& address);

    std::vector<std::string> userNames() const;
    // Each user with the kind of its hash, [{hash, name}], as JSON text
    // indented by two, written to `stream` piece by piece: the list can hold
    // a school's 100,000 users, too many to build as a JSON value or a whole
    // text first.
    void writeUserListJSON(std::FILE* stream) const;
    nlohmann::json groupList() const;
    std::vector<std::string> knownAddresses() const;

    // After an action that may have asked a question: throws when nobody
    // could answer it, or the answer was no. `what` names the action.
    void requireConfirmation(const std::string& what);

private:
    std::string root_;
    std::optional<KLPasswordHash::Kind> hashForThisRun_;
    KLHeadlessOutlets views_;
};
