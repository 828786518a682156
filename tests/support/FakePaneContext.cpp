#include "FakePaneContext.h"

#include <algorithm>

FakePaneContext::FakePaneContext()
{
    KLPaneContext::setShared(this);
}

FakePaneContext::~FakePaneContext()
{
    if (KLPaneContext::shared() == this)
        KLPaneContext::setShared(nullptr);
}

std::optional<std::string> FakePaneContext::fendrelLocation(int code) const
{
    switch (code) {
    case kUsersFile:
        return root + "/.htusers";
    case kGroupsFile:
        return root + "/.htgroups";
    case kRoot:
        return root;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> FakePaneContext::adjustedFendrelLocation(int code) const
{
    auto location = fendrelLocation(code);
    if (!location)
        return std::nullopt;
    return prefix + *location;
}

bool FakePaneContext::hasUser(const std::string& name) const
{
    return userNames && std::find(userNames->begin(), userNames->end(), name) != userNames->end();
}

bool FakePaneContext::hasGroup(const std::string& name) const
{
    return groupNames && std::find(groupNames->begin(), groupNames->end(), name) != groupNames->end();
}

std::size_t FakePaneContext::indexOfAddress(const std::string& address) const
{
    for (std::size_t i = 0; i < addressList.size(); ++i) {
        if (addressList[i].description() == address)
            return i;
    }
    return kNotFound;
}

void FakePaneContext::addAddressesFromArray(const std::vector<std::string>& list)
{
    for (const std::string& a : list) {
        if (indexOfAddress(a) == kNotFound)
            addressList.emplace_back(a);
    }
}
