#pragma once

#include "KLCollectionExtensions.h"

#include <string>
#include <vector>

// One line of the users file: a name and its password hash. Held by value in
// one array, so that a file of 100,000 users is one allocation rather than a
// dictionary per user (names and DES hashes fit in the strings themselves).
struct KLUserRecord
{
    std::string name;
    std::string hash;

    bool operator==(const KLUserRecord&) const = default;

    // "Comes before" by compareUsernames' rule; the setting "Case Sensitive
    // Compare" is read once, when the order is made.
    static auto order()
    {
        return [caseSensitive = caseSensitiveCompare()](const KLUserRecord& a, const KLUserRecord& b) {
            return compareUsernames(a.name, b.name, caseSensitive) < 0;
        };
    }
};

using KLUserRecords = std::vector<KLUserRecord>;
