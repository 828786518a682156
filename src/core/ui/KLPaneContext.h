#pragma once

#include "KLInvocation.h"
#include "KLListView.h"
#include "KLPlist.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

class KLFSItem;
class KLUsersDataSource;

// The pane as the access model and the lists see it: where the protected
// folder root and the credential files are, which users, groups and
// addresses are known, and the few callbacks the model may make. The pane
// controller registers itself as the shared instance; tests register fakes.
class KLPaneContext
{
public:
    // Location codes of fendrelLocation().
    static constexpr int kUsersFile = 1;
    static constexpr int kGroupsFile = 3;
    static constexpr int kRoot = 4;
    // indexOfAddress() when the address is not in the list.
    static constexpr std::size_t kNotFound = static_cast<std::size_t>(std::numeric_limits<long>::max());

    virtual ~KLPaneContext() = default;

    // Null before the pane exists.
    static KLPaneContext* shared();
    static void setShared(KLPaneContext* context);
    // Logs that a file was left as it is and tells the shared pane, if any.
    static void reportFileNotWritten(const std::string& path, const std::string& reason);

    // Queries.
    virtual std::optional<std::string> fendrelLocation(int code) const = 0;
    virtual std::optional<std::string> adjustedFendrelLocation(int code) const = 0;
    // None without a users (groups) source; callers treat that as empty.
    virtual std::optional<std::vector<std::string>> userArray() const = 0;
    virtual std::optional<std::vector<std::string>> groupArray() const = 0;
    // Hashed membership tests over the same names, for readers that test
    // every line of many files.
    virtual bool hasUser(const std::string& name) const = 0;
    virtual bool hasGroup(const std::string& name) const = 0;
    virtual KLUsersDataSource* users() const = 0;
    // The address list itself; callers may append to it.
    virtual KLPlist::Array& addresses() = 0;
    virtual std::size_t indexOfAddress(const std::string& address) const = 0;
    virtual std::string addressAtIndex(std::size_t index) const = 0;
    virtual bool shouldDiscoverAddresses() const = 0;
    virtual void setShouldDiscoverAddresses(bool discover) = 0;
    virtual KLFSItem* selectedItem() const = 0;
    virtual bool hasBeenManuallyEdited() const = 0;

    // Callbacks.
    virtual void deleteRow(KLListView* view, int row) = 0;
    virtual void userWasDeleted(const std::string& user) = 0;
    virtual void replaceAddressAtIndex(std::size_t index, const std::string& address) = 0;
    virtual void addAddressesFromArray(const std::vector<std::string>& addresses) = 0;
    virtual void webOutlineClick(void* sender) = 0;
    virtual void presentManualEditingErrorWithInvocation(KLInvocation invocation) = 0;
    virtual void displayError(int code) = 0;
    // A users, groups or access file was left as it is (it could not be
    // read, or not be replaced); reason says why in words.
    virtual void fileNotWritten(const std::string& path, const std::string& reason) = 0;
};
