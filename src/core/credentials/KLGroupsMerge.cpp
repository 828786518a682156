#include "KLGroupsMerge.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace {

using Names = std::unordered_set<std::string>;

// The first group of each name.
std::unordered_map<std::string, const KLUserItem*> byName(const KLUserItem& root)
{
    std::unordered_map<std::string, const KLUserItem*> groups;
    for (const auto& group : *root.children())
        groups.emplace(group->value(), group.get());
    return groups;
}

Names membersOf(const KLUserItem& group)
{
    Names names;
    for (const auto& member : *group.children())
        names.insert(member->value());
    return names;
}

void addMember(KLUserItem& group, const std::string& name)
{
    KLUserItem::Children& members = *group.children();
    if (std::none_of(members.begin(), members.end(), [&](const auto& m) { return m->value() == name; }))
        members.push_back(KLUserItem::itemWithValue(name, &group, std::nullopt));
}

std::shared_ptr<KLUserItem> copyOf(const KLUserItem& group, KLUserItem& parent)
{
    auto copy = KLUserItem::itemWithValue(group.value(), &parent, KLUserItem::Children{});
    for (const auto& member : *group.children())
        addMember(*copy, member->value());
    return copy;
}

} // namespace

void KLGroupsMerge::mergeInto(const KLUserItem& base, const KLUserItem& ours, KLUserItem& theirs)
{
    auto before = byName(base);
    auto now = byName(ours);
    KLUserItem::Children& groups = *theirs.children();
    std::erase_if(groups, [&](const auto& group) {
        return before.contains(group->value()) && !now.contains(group->value());
    });
    std::unordered_map<std::string, KLUserItem*> found;
    for (const auto& group : groups)
        found.emplace(group->value(), group.get());

    for (const auto& group : *ours.children()) {
        if (now.at(group->value()) != group.get())
            continue;
        auto old = before.find(group->value());
        Names members = membersOf(*group);
        Names removed;
        if (old != before.end()) {
            Names earlier = membersOf(*old->second);
            if (earlier == members)
                continue;
            for (const std::string& name : earlier)
                if (!members.contains(name))
                    removed.insert(name);
        }
        auto target = found.find(group->value());
        if (target == found.end()) {
            groups.push_back(copyOf(*group, theirs));
            found.emplace(group->value(), groups.back().get());
            continue;
        }
        KLUserItem& into = *target->second;
        std::erase_if(*into.children(), [&](const auto& member) { return removed.contains(member->value()); });
        for (const auto& member : *group->children())
            addMember(into, member->value());
    }
}
