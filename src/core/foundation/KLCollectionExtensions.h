#pragma once

#include "KLPlist.h"

#include <set>
#include <string>
#include <vector>

// Collection helpers over property-list arrays and dictionaries.

// The key's value of every dictionary element, in order; other elements are
// skipped. A dictionary without the key is the caller's error (throws).
KLPlist::Array flattenedArrayWithKey(const KLPlist::Array& array, const std::string& key);
// Re-seeds the generator from the time and picks one; never call on an empty array.
const KLPlist& randomObject(const KLPlist::Array& array);
// Both as sets; the result in no particular order, without duplicates.
std::vector<std::string> intersectionWith(const std::vector<std::string>& a, const std::vector<std::string>& b);
std::set<std::string> intersectionWithSet(const std::set<std::string>& a, const std::set<std::string>& b);

// A missing key gives the default; the string "YES" (exactly) is true, other
// strings false; numbers by their value; any other kind false.
bool boolForKey(const KLPlist::Dictionary& dict, const std::string& key, bool defaultValue = false);
void setBoolValue(KLPlist::Dictionary& dict, bool value, const std::string& key);

// Orders two user names: case-sensitive when the setting "Case Sensitive
// Compare" is on, otherwise ignoring case. -1, 0 or 1.
int compareUsernames(const std::string& a, const std::string& b);
// The same rule with the setting read once by the caller: reading it takes
// a lock and looks at the settings file, too slow for every comparison of a sort.
int compareUsernames(const std::string& a, const std::string& b, bool caseSensitive);
// The setting "Case Sensitive Compare".
bool caseSensitiveCompare();
