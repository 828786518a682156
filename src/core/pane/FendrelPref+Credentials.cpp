#include "FendrelPref.h"

// The users and groups sources arrive with the credential files; until then
// the pane knows no names.

std::optional<std::vector<std::string>> FendrelPref::userArray() const
{
    return std::nullopt;
}

std::optional<std::vector<std::string>> FendrelPref::groupArray() const
{
    return std::nullopt;
}

bool FendrelPref::hasUser(const std::string&) const
{
    return false;
}

bool FendrelPref::hasGroup(const std::string&) const
{
    return false;
}

void FendrelPref::setUsers(std::shared_ptr<KLUsersDataSource> users)
{
    users_ = std::move(users);
}

void FendrelPref::setGroups(std::shared_ptr<KLGroupsDataSource> groups)
{
    groups_ = std::move(groups);
}
