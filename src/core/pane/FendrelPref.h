#pragma once

#include "FendrelPrefOutlets.h"
#include "KLAccessVerifier.h"
#include "KLInvocation.h"
#include "KLNotificationCenter.h"
#include "KLPaneContext.h"
#include "KLPasswordHash.h"
#include "KLPlist.h"
#include "KLState.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class KLAddressDataSource;
class KLApacheController;
class KLBundle;
class KLFSDataSource;
class KLFSItem;
class KLFileWatcher;
class KLGroupsDataSource;
class KLPasteboard;
class KLSUController;
class KLTimer;
class KLUserItem;
class KLUsersDataSource;

// The host's answer to shouldUnselect(): leave now, stay, or wait for
// replyToShouldUnselect() (the values of the settings host's protocol).
enum class KLUnselectReply { Cancel = 0, Now = 1, Later = 2 };

// The pane's controller: start-up, settings, the protected folder root and
// every user action of the window. It is the shared pane context through
// which the access model and the lists reach the pane. Its views are the
// outlets the toolkit side hands over before awakeFromNib().
class FendrelPref : public KLPaneContext
{
public:
    FendrelPref();
    ~FendrelPref() override;
    FendrelPref(const FendrelPref&) = delete;
    FendrelPref& operator=(const FendrelPref&) = delete;

    // Class start-up: the address texts never accepted and the registered
    // defaults (values of the active layout). Runs once; later calls do nothing.
    static void initialize();
    static const std::vector<std::string>& badAddresses();
    // Whether a text can stand in an access file's address list: a host
    // name, an IPv4 or IPv6 address or network, an env= form. Blanks, line
    // breaks, "#" and quotes would change the lines around the list, and the
    // bad addresses are never accepted.
    static bool isUsableAddress(const std::string& address);
    // The defaults registered by initialize(), for the active layout.
    static KLPlist::Dictionary registeredDefaults();

    // Selectors of the actions that can be held back behind the manual
    // editor's question (KLInvocation::selector()).
    static constexpr const char* kSetWebDirRoot = "setWebDirRoot:";
    static constexpr const char* kSetCustomWebDirAllowed = "setCustomWebDirAllowed:";
    static constexpr const char* kSetManualEditVisible = "setManualEditVisible:";
    static constexpr const char* kWebRefresh = "webRefresh:";
    static constexpr const char* kReplyToShouldUnselect = "replyToShouldUnselect:";

    // Codes of displayError(), indexes of the error table.
    static constexpr int kHelperToolMissing = 1;
    static constexpr int kPasswordNotHashed = 4;

    static FendrelPref* sharedInstance();
    static void setSharedInstance(FendrelPref* instance);

    // Creation as the host does it: becomes the shared instance, loads the
    // error table from the bundle and follows access file changes.
    void initWithBundle(const KLBundle& bundle);
    void setOutlets(const FendrelPrefOutlets& outlets) { o_ = outlets; }
    const FendrelPrefOutlets& outlets() const { return o_; }
    const std::vector<std::string>& errors() const { return errors_; }
    // How loadApache() makes the web server controller; null makes none.
    // The default finds the server and the installed helper tool.
    void setApacheFactory(std::function<std::shared_ptr<KLApacheController>()> factory);

    // The window is loaded: builds the views and the data sources, in order.
    void awakeFromNib();
    void setTables();
    void reloadUsersAndGroups();

    KLFSDataSource* files() const { return files_.get(); }
    KLAddressDataSource* addressSource() const { return addressSource_.get(); }
    KLApacheController* apache() const { return apache_.get(); }
    KLSUController* SWUController() const { return SWUController_.get(); }
    // Identifier of the web server tab, taken from the controller.
    const std::string& apacheTabViewItem() const { return apacheTabViewItem_; }

    // Pane context queries.
    std::optional<std::string> fendrelLocation(int code) const override;
    std::optional<std::string> adjustedFendrelLocation(int code) const override;
    std::optional<std::vector<std::string>> userArray() const override;
    std::optional<std::vector<std::string>> groupArray() const override;
    bool hasUser(const std::string& name) const override;
    bool hasGroup(const std::string& name) const override;
    KLUsersDataSource* users() const override;
    KLPlist::Array& addresses() override;
    std::size_t indexOfAddress(const std::string& address) const override;
    std::string addressAtIndex(std::size_t index) const override;
    bool shouldDiscoverAddresses() const override;
    void setShouldDiscoverAddresses(bool discover) override;
    KLFSItem* selectedItem() const override;
    bool hasBeenManuallyEdited() const override;

    // Pane context callbacks.
    void deleteRow(KLListView* view, int row) override;
    void userWasDeleted(const std::string& user) override;
    void replaceAddressAtIndex(std::size_t index, const std::string& address) override;
    void addAddressesFromArray(const std::vector<std::string>& addresses) override;
    void webOutlineClick(void* sender) override;
    void presentManualEditingErrorWithInvocation(KLInvocation invocation) override;
    void displayError(int code) override;
    void fileNotWritten(const std::string& path, const std::string& reason) override;

    void setUsers(std::shared_ptr<KLUsersDataSource> users);
    void setGroups(std::shared_ptr<KLGroupsDataSource> groups);
    KLGroupsDataSource* groups() const { return groups_.get(); }
    std::shared_ptr<KLPlist::Array> sharedAddresses() const { return addresses_; }

    // Options tab.
    void readOptions();
    void writeOption(KLButton* sender);
    void setShouldSortUsers(bool sort);
    void setShouldSortGroups(bool sort);
    void setShouldShowDeleteDialog(bool show);
    void setShouldShowUserDeleteDialog(bool show);
    void setShouldShowGroupDeleteDialog(bool show);
    void setShouldCheckAtLaunch(bool check);
    void changeCheckAtLaunch(KLButton* sender);
    bool shouldShowDeleteDialog() const;
    // Stores the kind the pop-up shows as "Password Hash".
    void setPasswordHash(KLPopUpButton* popup);
    // The kind new passwords are hashed with: the stored choice.
    virtual KLPasswordHash::Kind passwordHashKind() const;

    // The protected folder root. The control overloads are the actions the
    // toolkit binds; the KLState ones are what start-up and held-back
    // actions call.
    void setWebDirRoot(const KLState& popup);
    void setWebDirRoot(KLPopUpButton* popup);
    void chooseWebDir(int returnCode, const std::string& folder);
    void setStartDirectory(int root);
    void setCustomWebDirAllowed(const KLState& state);
    void setCustomWebDirAllowed(KLButton* sender);
    void setCustomWebDir(const std::string& path);
    void revealWebDir(void* sender);

    void setUsesRemoteApache(const KLState& state);
    void setUsesRemoteApache(KLButton* sender);
    void loadApache(bool load);
    void setManualEditVisible(const KLState& state);
    void setManualEditVisible(KLButton* sender);

    // Host protocol. A Later answer is settled by replyToShouldUnselect(),
    // which passes the decision to the handler the host registered.
    KLUnselectReply shouldUnselect();
    void replyToShouldUnselect(bool shouldUnselect);
    void setUnselectReplyHandler(std::function<void(bool shouldUnselect)> handler);
    void didSelect();
    void didUnselect();

    // Software update status line. The clock answers seconds since the
    // reference date; the time zone is the process's (TZ).
    void setSecondsSinceCheck(double seconds);
    std::string lastCheckText(double seconds) const;
    void setClock(std::function<double()> now) { clock_ = std::move(now); }
    double now() const;
    // The update controller is made on first use with the update panel's
    // outlets; without them prepSWU() raises std::runtime_error.
    void prepSWU();
    void beginSWUCheck(void* sender);
    void receiveSWUNotification(const KLNotification& notification);

    void help(void* sender);
    void loadWebsite(void* sender);
    void donate(void* sender);

    // Manual editor and held-back actions.
    void showCustomEditor(void* sender);
    void textDidChange();
    void saveCustomEdit(void* sender);
    void revertCustomEdit(void* sender);
    void manualEditorSheetDidEnd(void* sheet, int returnCode, KLInvocation invocation);
    bool shouldSelectTabViewItem(KLTabView* tabView, const std::string& identifier) const;

    // Files other programs change while the pane is shown: watched from
    // didSelect() to didUnselect(), checked on a timer of the main run loop.
    void startWatchingFiles();
    void stopWatchingFiles();
    void checkFilesOnDisk();
    // Reads again what changed on disk, keeping the selection; a root that
    // went away is told in one alert.
    void filesDidChangeOnDisk();

    // Numbered errors and the split view's divider limits.
    void sheetDidEnd(void* sheet, int returnCode, void* contextInfo);
    double constrainMinCoordinate(double proposed, int subviewIndex) const;
    double constrainMaxCoordinate(double proposed, int subviewIndex) const;

    // Users and groups.
    void addUser(void* sender);
    void editUser(void* sender);
    void endNewUser(void* sender);
    // The sheet's password was typed: warns when DES would ignore part of it.
    void passwordDidChange(void* sender);
    void closeNewUser(void* sender);
    void addGroup(void* sender);
    void deleteUser(void* sender);
    void deleteUser(void* sheet, int returnCode, void* contextInfo);
    void deleteGroup(void* sender);
    void deleteGroup(void* sheet, int returnCode, void* contextInfo);
    void userClick(void* sender);
    void groupClick(void* sender);
    // "Add to Group" (menu and keyboard): the selected user joins group
    // `groupIndex` (groupArray order) as a drop of its row on the group's
    // row does, with the same checks; false when that drop is refused.
    bool addUserToGroup(int groupIndex);
    // Whether addUserToGroup would be taken: the menu offers only these.
    bool canAddUserToGroup(int groupIndex) const;

    // Folders.
    void setAddressViewsForItem(KLFSItem* item);
    void changeAddressMode(KLMatrix* matrix);
    void clearAccessPrompt(void* sender);
    void clearAccess(void* sheet, int returnCode, void* contextInfo);
    void webRefresh(void* sender);
    void viewSelectionOnWeb(void* sender);
    // The address viewSelectionOnWeb() opens.
    std::string webAddressOfSelection() const;

    // The web server's own answer for the protected folders the outline has
    // listed, asked again after every change of an access, users or groups
    // file or of the server, and on Refresh.
    void verifyAccess(void* sender);
    void scheduleAccessCheck();
    void showAccessChecks(const KLAccessVerifier::Result& result);
    // The selected folder's check in words, or that the server does not answer.
    std::string accessCheckText() const;

    // Addresses.
    void addAddress(void* sender);
    void removeAddress(void* sender);
    void deleteAddress(const std::string& address);
    void reeditAddressAfterDelay(std::size_t index);
    void toggleAddressDiscovery(KLButton* sender);
    void addressClick(KLListView* table);

protected:
    // A held-back call of one of the actions that can wait for the manual
    // editor's question, by its selector name.
    KLInvocation heldBackAction(const std::string& selector, KLPlist argument);
    void storeAddresses();
    void runUserSheet(const std::string& firstResponder);
    // The drag of the selected user's row onto group `groupIndex`, when the
    // groups source would take it.
    bool userDragToGroup(int groupIndex, KLPasteboard& pasteboard, KLUserItem*& group) const;
    void rebuildFolderTree();
    std::shared_ptr<KLApacheController> defaultApacheController() const;
    void watchShownFolders();
    void reloadCredentialsKeepingSelection();
    void showRootGone(const std::string& root);
    // Saves the manual edit, first asking when the file changed on disk
    // since it was read; done(false) when the person cancelled.
    void saveCustomEditAsking(std::function<void(bool saved)> done);
    void writeCustomEdit();

    FendrelPrefOutlets o_;
    std::shared_ptr<KLSUController> SWUController_;
    std::shared_ptr<KLApacheController> apache_;
    std::string apacheTabViewItem_;
    std::shared_ptr<KLFSDataSource> files_;
    std::shared_ptr<KLUsersDataSource> users_;
    std::shared_ptr<KLGroupsDataSource> groups_;
    KLFSItem* fsItem_ = nullptr;
    std::vector<std::string> errors_;
    std::shared_ptr<KLPlist::Array> addresses_;
    std::shared_ptr<KLAddressDataSource> addressSource_;
    bool manuallyEdited_ = false;
    // Inside awakeFromNib, which reads the users and groups and builds the
    // folder tree itself once the options are set.
    bool waking_ = false;
    bool accessFileChangedUnderEdit_ = false;
    bool recheckAfterEdit_ = false;
    bool rootGone_ = false;
    bool notWrittenShown_ = false;
    std::unique_ptr<KLFileWatcher> watcher_;
    std::shared_ptr<KLTimer> watchTimer_;

    KLObservation accessFileObservation_;
    KLObservation swuObservation_;
    std::function<std::shared_ptr<KLApacheController>()> apacheFactory_;
    std::shared_ptr<KLTimer> reeditTimer_;
    std::unique_ptr<KLAccessVerifier> verifier_;
    std::shared_ptr<KLTimer> accessCheckTimer_;
    std::vector<KLObservation> accessCheckObservations_;
    std::string serverMessage_; // the server did not answer: said once
    std::function<void(bool)> unselectReplyHandler_;
    std::function<double()> clock_;
};
