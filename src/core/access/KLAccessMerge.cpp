#include "KLAccessMerge.h"

#include <algorithm>
#include <set>

namespace {

const KLPlist kNothing;

const KLPlist& valueOf(const KLPlist::Dictionary& auth, const std::string& key)
{
    auto it = auth.find(key);
    return it == auth.end() ? kNothing : it->second;
}

std::set<std::string> stringsOf(const KLPlist& list)
{
    std::set<std::string> strings;
    if (const KLPlist::Array* array = list.array())
        for (const KLPlist& item : *array)
            strings.insert(item.description());
    return strings;
}

void mergeList(const KLPlist& before, const KLPlist& now, KLPlist& into)
{
    std::set<std::string> earlier = stringsOf(before);
    std::set<std::string> later = stringsOf(now);
    if (!into.array())
        into = KLPlist(KLPlist::Array());
    KLPlist::Array& list = *into.array();
    std::erase_if(list, [&](const KLPlist& item) {
        std::string text = item.description();
        return earlier.contains(text) && !later.contains(text);
    });
    std::set<std::string> present = stringsOf(into);
    for (const KLPlist& item : *now.array())
        if (!earlier.contains(item.description()) && present.insert(item.description()).second)
            list.push_back(item);
}

} // namespace

KLAccessState KLAccessMerge::merged(const KLAccessState& base, const KLAccessState& ours, KLAccessState theirs)
{
    if (ours.status != base.status || ours.disabled != base.disabled) {
        theirs.status = ours.status;
        theirs.disabled = ours.disabled;
    }
    std::set<std::string> keys;
    for (const auto& [key, value] : base.auth)
        keys.insert(key);
    for (const auto& [key, value] : ours.auth)
        keys.insert(key);
    for (const std::string& key : keys) {
        const KLPlist& before = valueOf(base.auth, key);
        const KLPlist& now = valueOf(ours.auth, key);
        if (before == now)
            continue;
        if (now.array())
            mergeList(before, now, theirs.auth[key]);
        else if (now.isNull())
            theirs.auth.erase(key);
        else
            theirs.auth[key] = now;
    }
    if (ours.userText != base.userText)
        theirs.userText = ours.userText;
    return theirs;
}
