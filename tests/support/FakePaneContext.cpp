#include "FakePaneContext.h"

#include <algorithm>

FakePaneContext::FakePaneContext() { KLPaneContext::setShared(this); }

FakePaneContext::~FakePaneContext()
{
    if (KLPaneContext::shared() == this)
        KLPaneContext::setShared(nullptr);
}

std::optional<std::string> FakePaneContext::fendrelLocation(int code) const
{
    switch (code) {
    case kUsersFile: return root + "/.htusers";
    case kGroupsFile: return root + "/.htgroups";
    case kRoot: return root;
    default: return std::nullopt;
    }
}

std::optional<std::string> FakePaneContext::adjustedFendrelLocation(int code) const
{
    auto location = fendrelLocation(code);
    return location ? std::optional(prefix + *location) : std::nullopt;
}

static bool contains(const std::optional<std::vector<std::string>>& names, const std::string& name)
{
    return names && std::find(names->begin(), names->end(), name) != names->end();
}

bool FakePaneContext::hasUser(const std::string& name) const { return contains(userNames, name); }

bool FakePaneContext::hasGroup(const std::string& name) const { return contains(groupNames, name); }

std::size_t FakePaneContext::indexOfAddress(const std::string& address) const
{
    for (std::size_t i = 0; i < addressList.size(); ++i)
        if (addressList[i].description() == address)
            return i;
    return kNotFound;
}

void FakePaneContext::addAddressesFromArray(const std::vector<std::string>& list)
{
    for (const std::string& a : list)
        if (indexOfAddress(a) == kNotFound)
            addressList.emplace_back(a);
}
