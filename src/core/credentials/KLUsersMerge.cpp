#include "KLUsersMerge.h"

#include "KLUsersDataSource.h"

#include <unordered_map>

namespace {

using Records = std::unordered_map<std::string, const KLPlist*>;

std::string nameOf(const KLPlist& record)
{
    const std::string* name = record[KLUsersDataSource::kUserKey].string();
    return name ? *name : std::string();
}

// The first record of each name, as the users file gives it precedence.
Records byName(const KLPlist::Array& users)
{
    Records records;
    records.reserve(users.size());
    for (const KLPlist& record : users)
        records.emplace(nameOf(record), &record);
    return records;
}

} // namespace

KLPlist::Array KLUsersMerge::merged(const KLPlist::Array& base, const KLPlist::Array& ours, KLPlist::Array theirs)
{
    Records before = byName(base);
    Records now = byName(ours);
    std::unordered_map<std::string, std::size_t> where;
    where.reserve(theirs.size());
    for (std::size_t i = 0; i < theirs.size(); ++i)
        where.emplace(nameOf(theirs[i]), i);

    std::vector<bool> deleted(theirs.size(), false);
    for (const auto& [name, record] : before) {
        if (!now.contains(name))
            if (auto it = where.find(name); it != where.end())
                deleted[it->second] = true;
    }
    KLPlist::Array added;
    for (const KLPlist& record : ours) {
        std::string name = nameOf(record);
        if (now.at(name) != &record)
            continue;
        auto old = before.find(name);
        if (old != before.end() && *old->second == record)
            continue;
        if (auto it = where.find(name); it != where.end())
            theirs[it->second] = record;
        else
            added.push_back(record);
    }
    KLPlist::Array result;
    result.reserve(theirs.size() + added.size());
    for (std::size_t i = 0; i < theirs.size(); ++i)
        if (!deleted[i])
            result.push_back(std::move(theirs[i]));
    for (KLPlist& record : added)
        result.push_back(std::move(record));
    return result;
}
