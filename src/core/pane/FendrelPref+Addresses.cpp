#include "FendrelPref.h"

#include "KLAddressDataSource.h"
#include "KLAssert.h"
#include "KLButton.h"
#include "KLFSItem.h"
#include "KLListView.h"
#include "KLRunLoop.h"
#include "KLUserDefaults.h"
#include "KLWorkspace.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace {
constexpr const char* kAddressArray = "Address Array";
constexpr const char* kPlaceholder = "host.domain.tld";
constexpr const char* kAddressColumn = "address";

bool isBadAddress(const std::string& address)
{
    const std::vector<std::string>& bad = FendrelPref::badAddresses();
    return std::find(bad.begin(), bad.end(), address) != bad.end();
}

bool isAddressCharacter(char c)
{
    constexpr std::string_view kPunctuation = ".-_:/=[]%";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kPunctuation.find(c) != std::string_view::npos;
}

std::string lowercase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}
} // namespace

bool FendrelPref::isUsableAddress(const std::string& address)
{
    return !address.empty() && !isBadAddress(address) && std::all_of(address.begin(), address.end(), isAddressCharacter);
}

void FendrelPref::storeAddresses()
{
    KLUserDefaults::standardUserDefaults().setObject(*addresses_, kAddressArray);
}

void FendrelPref::addAddress(void*)
{
    // The placeholder is not stored; it must be edited into an address.
    addresses_->emplace_back(kPlaceholder);
    if (!o_.addressTable)
        return;
    o_.addressTable->reloadData();
    int row = static_cast<int>(indexOfAddress(kPlaceholder));
    o_.addressTable->selectRow(row, false);
    o_.addressTable->editColumn(kAddressColumn, row);
}

void FendrelPref::replaceAddressAtIndex(std::size_t index, const std::string& address)
{
    KL_PARAMETER_ASSERT_TEXT(index < addresses_->size(), "old >= 0 && old < [addresses count]");
    (*addresses_)[index] = address;
    if (isUsableAddress(address)) {
        storeAddresses();
        return;
    }
    // After the table has finished its own end of editing, edit the row again.
    if (o_.workspace)
        o_.workspace->beep();
    reeditTimer_ = KLRunLoop::main().scheduleOnce(0, [this, index] { reeditAddressAfterDelay(index); });
}

void FendrelPref::reeditAddressAfterDelay(std::size_t index)
{
    if (!o_.addressTable)
        return;
    o_.addressTable->selectRow(static_cast<int>(index), false);
    o_.addressTable->editColumn(kAddressColumn, static_cast<int>(index));
}

void FendrelPref::removeAddress(void*)
{
    if (!o_.addressTable)
        return;
    std::vector<int> rows = o_.addressTable->selectedRows();
    std::sort(rows.begin(), rows.end());
    // Each row is read as the table shows it after the previous removals.
    for (int row : rows) {
        KLPlist value = addressSource_ ? addressSource_->objectValue(*o_.addressTable, kAddressColumn, row) : KLPlist();
        deleteAddress(value.description());
    }
    o_.addressTable->reloadData();
    if (fsItem_)
        fsItem_->writeAccessFile();
}

void FendrelPref::deleteAddress(const std::string& address)
{
    auto equal = [&address](const KLPlist& entry) {
        const std::string* text = entry.string();
        return text && *text == address;
    };
    if (std::none_of(addresses_->begin(), addresses_->end(), equal))
        return;
    std::erase_if(*addresses_, equal);
    if (o_.addressTable)
        o_.addressTable->reloadData();
    storeAddresses();
}

void FendrelPref::addAddressesFromArray(const std::vector<std::string>& list)
{
    // One reload and one write of the settings for the whole merge: the
    // stored list of a start-up can be long.
    bool added = false;
    for (const std::string& entry : list) {
        std::string address = lowercase(entry);
        if (indexOfAddress(address) != kNotFound || !isUsableAddress(address))
            continue;
        addresses_->emplace_back(address);
        added = true;
    }
    if (!added)
        return;
    if (o_.addressTable)
        o_.addressTable->reloadData();
    storeAddresses();
}

void FendrelPref::toggleAddressDiscovery(KLButton* sender)
{
    if (sender)
        setShouldDiscoverAddresses(sender->state() != 0);
}

void FendrelPref::addressClick(KLListView* table)
{
    if (o_.addressDeleteButton)
        o_.addressDeleteButton->setEnabled(table && table->selectedRow() >= 0);
}
