#include "FendrelPref.h"

#include "KLLayout.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"

#include <cstdlib>

std::optional<std::string> FendrelPref::fendrelLocation(int code) const
{
    const KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    std::string root;
    switch (defaults.integerForKey("Fendrel Protected Folder")) {
    case 1:
        root = KLLayout::active().sharedDocumentRoot;
        break;
    case 2:
        root = defaults.stringForKey("Web Dir").value_or("");
        break;
    default: {
        const char* home = std::getenv("HOME");
        root = stringByAppendingPathComponent(home ? home : "", KLLayout::active().personalWebFolder);
        break;
    }
    }
    switch (code) {
    case kUsersFile:
        return stringByAppendingPathComponent(root, ".htusers");
    case kGroupsFile:
        return stringByAppendingPathComponent(root, ".htgroups");
    case kRoot:
        return root;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> FendrelPref::adjustedFendrelLocation(int code) const
{
    std::optional<std::string> location = fendrelLocation(code);
    if (!location)
        return std::nullopt;
    const KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    std::vector<std::string> components = pathComponents(*location);
    if (defaults.boolForKey("stripVolumesFromFendrelFolder") && components.size() > 1 && components[1] == "Volumes")
        components.erase(components.begin() + 1);
    std::string prefix = defaults.stringForKey("fendrelFolderPrefix").value_or("");
    return stringByAppendingPathComponent(prefix, pathWithComponents(components));
}

KLUsersDataSource* FendrelPref::users() const
{
    return users_.get();
}

KLPlist::Array& FendrelPref::addresses()
{
    return *addresses_;
}

std::size_t FendrelPref::indexOfAddress(const std::string& address) const
{
    for (std::size_t i = 0; i < addresses_->size(); ++i) {
        const std::string* s = (*addresses_)[i].string();
        if (s && *s == address)
            return i;
    }
    return kNotFound;
}

std::string FendrelPref::addressAtIndex(std::size_t index) const
{
    return addresses_->at(index).description();
}

bool FendrelPref::shouldDiscoverAddresses() const
{
    return KLUserDefaults::standardUserDefaults().boolForKey("Should Discover Addresses");
}

void FendrelPref::setShouldDiscoverAddresses(bool discover)
{
    KLUserDefaults::standardUserDefaults().setBool(discover, "Should Discover Addresses");
}

KLFSItem* FendrelPref::selectedItem() const
{
    return fsItem_;
}

bool FendrelPref::hasBeenManuallyEdited() const
{
    return manuallyEdited_;
}
