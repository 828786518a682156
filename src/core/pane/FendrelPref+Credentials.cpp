#include "FendrelPref.h"

#include "KLGroupsDataSource.h"
#include "KLUsersDataSource.h"

// The name queries read the sources' own lists; membership goes through the
// sources' hashed indexes, which follow every change of those lists.

std::optional<std::vector<std::string>> FendrelPref::userArray() const
{
    if (!users_)
        return std::nullopt;
    std::vector<std::string> names;
    names.reserve(users_->records().size());
    for (const KLUserRecord& record : users_->records())
        names.push_back(record.name);
    return names;
}

std::optional<std::vector<std::string>> FendrelPref::groupArray() const
{
    if (!groups_)
        return std::nullopt;
    return groups_->list();
}

bool FendrelPref::hasUser(const std::string& name) const
{
    return users_ && users_->hasUser(name);
}

bool FendrelPref::hasGroup(const std::string& name) const
{
    return groups_ && groups_->hasGroup(name);
}

void FendrelPref::setUsers(std::shared_ptr<KLUsersDataSource> users)
{
    users_ = std::move(users);
}

void FendrelPref::setGroups(std::shared_ptr<KLGroupsDataSource> groups)
{
    groups_ = std::move(groups);
}
