#pragma once

#include "FendrelPrefOutlets.h"
#include "KLPaneContext.h"
#include "KLPlist.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class KLBundle;
class KLFSItem;
class KLUsersDataSource;
class KLGroupsDataSource;

// The pane's controller: start-up, settings, the protected folder root and
// every user action of the window. It is the shared pane context through
// which the access model and the lists reach the pane.
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
    // The defaults registered by initialize(), for the active layout.
    static KLPlist::Dictionary registeredDefaults();

    static FendrelPref* sharedInstance();
    static void setSharedInstance(FendrelPref* instance);

    // Creation as the host does it: becomes the shared instance and loads
    // the error table from the bundle.
    void initWithBundle(const KLBundle& bundle);
    void setOutlets(const FendrelPrefOutlets& outlets) { o_ = outlets; }
    const FendrelPrefOutlets& outlets() const { return o_; }
    const std::vector<std::string>& errors() const { return errors_; }

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

    void setUsers(std::shared_ptr<KLUsersDataSource> users);
    void setGroups(std::shared_ptr<KLGroupsDataSource> groups);
    KLGroupsDataSource* groups() const { return groups_.get(); }
    std::shared_ptr<KLPlist::Array> sharedAddresses() const { return addresses_; }

    // The numbered error alert's end, and the split view's divider limits.
    void sheetDidEnd(void* sheet, int returnCode, void* contextInfo);
    double constrainMinCoordinate(double proposed, int subviewIndex) const;
    double constrainMaxCoordinate(double proposed, int subviewIndex) const;

protected:
    FendrelPrefOutlets o_;
    std::vector<std::string> errors_;
    std::shared_ptr<KLUsersDataSource> users_;
    std::shared_ptr<KLGroupsDataSource> groups_;
    KLFSItem* fsItem_ = nullptr;
    std::shared_ptr<KLPlist::Array> addresses_;
    bool manuallyEdited_ = false;
};
