#pragma once

#include "KLPaneContext.h"

#include <string>
#include <vector>

// A pane context whose answers the test sets directly; it registers itself
// as the shared context for its lifetime and records every callback.
class FakePaneContext : public KLPaneContext {
public:
    FakePaneContext();
    ~FakePaneContext() override;

    std::optional<std::string> fendrelLocation(int code) const override;
    std::optional<std::string> adjustedFendrelLocation(int code) const override;
    std::optional<std::vector<std::string>> userArray() const override { return userNames; }
    std::optional<std::vector<std::string>> groupArray() const override { return groupNames; }
    bool hasUser(const std::string& name) const override;
    bool hasGroup(const std::string& name) const override;
    KLUsersDataSource* users() const override { return usersSource; }
    KLPlist::Array& addresses() override { return addressList; }
    std::size_t indexOfAddress(const std::string& address) const override;
    std::string addressAtIndex(std::size_t index) const override { return addressList.at(index).description(); }
    bool shouldDiscoverAddresses() const override { return discover; }
    void setShouldDiscoverAddresses(bool d) override { discover = d; }
    KLFSItem* selectedItem() const override { return selected; }
    bool hasBeenManuallyEdited() const override { return manuallyEdited; }

    void deleteRow(KLListView* view, int row) override { deletedRows.emplace_back(view, row); }
    void userWasDeleted(const std::string& user) override { deletedUsers.push_back(user); }
    void replaceAddressAtIndex(std::size_t i, const std::string& a) override { replacedAddresses.emplace_back(i, a); }
    void addAddressesFromArray(const std::vector<std::string>& list) override;
    void webOutlineClick(void* sender) override { outlineClicks.push_back(sender); }
    void presentManualEditingErrorWithInvocation(KLInvocation i) override { heldBack.push_back(std::move(i)); }
    void displayError(int code) override { errors.push_back(code); }
    void fileNotWritten(const std::string& path, const std::string& why) override { notWritten.push_back(path + ": " + why); }

    // Answers.
    std::string root; // fendrelLocation(4); users and groups files inside it
    std::string prefix; // put in front of adjusted locations
    std::optional<std::vector<std::string>> userNames, groupNames;
    KLUsersDataSource* usersSource = nullptr;
    KLPlist::Array addressList;
    bool discover = true, manuallyEdited = false;
    KLFSItem* selected = nullptr;

    // Calls received.
    std::vector<std::pair<KLListView*, int>> deletedRows;
    std::vector<std::pair<std::size_t, std::string>> replacedAddresses;
    std::vector<void*> outlineClicks;
    std::vector<KLInvocation> heldBack;
    std::vector<int> errors;
    std::vector<std::string> deletedUsers, notWritten; // notWritten: "path: reason"
};
