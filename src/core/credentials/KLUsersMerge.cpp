#include "KLUsersMerge.h"

#include <string_view>
#include <unordered_map>

namespace {

using Records = std::unordered_map<std::string_view, const KLUserRecord*>;

// The first record of each name, as the users file gives it precedence.
Records byName(const KLUserRecords& users)
{
    Records records;
    records.reserve(users.size());
    for (const KLUserRecord& record : users)
        records.emplace(record.name, &record);
    return records;
}

} // namespace

KLUserRecords KLUsersMerge::merged(const KLUserRecords& base, const KLUserRecords& ours, KLUserRecords theirs)
{
    Records before = byName(base);
    Records now = byName(ours);
    std::unordered_map<std::string_view, std::size_t> where;
    where.reserve(theirs.size());
    for (std::size_t i = 0; i < theirs.size(); ++i)
        where.emplace(theirs[i].name, i);

    std::vector<bool> deleted(theirs.size(), false);
    for (const auto& [name, record] : before) {
        if (!now.contains(name))
            if (auto it = where.find(name); it != where.end())
                deleted[it->second] = true;
    }
    KLUserRecords added;
    for (const KLUserRecord& record : ours) {
        const std::string& name = record.name;
        if (now.at(name) != &record)
            continue;
        auto old = before.find(name);
        if (old != before.end() && *old->second == record)
            continue;
        if (auto it = where.find(name); it != where.end())
            theirs[it->second].hash = record.hash; // the same name: `where` keeps seeing it
        else
            added.push_back(record);
    }
    KLUserRecords result;
    result.reserve(theirs.size() + added.size());
    for (std::size_t i = 0; i < theirs.size(); ++i)
        if (!deleted[i])
            result.push_back(std::move(theirs[i]));
    for (KLUserRecord& record : added)
        result.push_back(std::move(record));
    return result;
}
