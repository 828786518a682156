#include "KLCollectionExtensions.h"

#include "KLUserDefaults.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <unordered_set>

namespace {

// The element's value for the key; none for an element that is no
// dictionary, which is passed over without a word.
const KLPlist* flattenedValue(const KLPlist& element, const std::string& key)
{
    const KLPlist::Dictionary* dict = element.dictionary();
    if (!dict)
        return nullptr;
    auto it = dict->find(key);
    if (it == dict->end())
        throw std::invalid_argument("-flattenedArrayWithKey: no value for key " + key);
    return &it->second;
}

} // namespace

KLPlist::Array flattenedArrayWithKey(const KLPlist::Array& array, const std::string& key)
{
    KLPlist::Array out;
    out.reserve(array.size());
    for (const KLPlist& element : array)
        if (const KLPlist* value = flattenedValue(element, key))
            out.push_back(*value);
    return out;
}

const KLPlist& randomObject(const KLPlist::Array& array)
{
    ::srandom(static_cast<unsigned>(std::time(nullptr)));
    return array.at(static_cast<std::size_t>(::random()) % array.size());
}

std::vector<std::string> intersectionWith(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    std::unordered_set<std::string> left(a.begin(), a.end());
    std::unordered_set<std::string> seen;
    std::vector<std::string> out;
    for (const std::string& s : b) {
        if (left.count(s) && seen.insert(s).second)
            out.push_back(s);
    }
    return out;
}

std::set<std::string> intersectionWithSet(const std::set<std::string>& a, const std::set<std::string>& b)
{
    std::set<std::string> out;
    for (const std::string& s : a) {
        if (b.count(s))
            out.insert(s);
    }
    return out;
}

bool boolForKey(const KLPlist::Dictionary& dict, const std::string& key, bool defaultValue)
{
    auto it = dict.find(key);
    if (it == dict.end())
        return defaultValue;
    const KLPlist& value = it->second;
    if (const std::string* s = value.string())
        return *s == "YES";
    if (value.isNumber())
        return value.boolReading().value_or(false);
    return false;
}

void setBoolValue(KLPlist::Dictionary& dict, bool value, const std::string& key)
{
    dict[key] = value;
}

bool caseSensitiveCompare()
{
    return KLUserDefaults::standardUserDefaults().boolForKey("Case Sensitive Compare");
}

int compareUsernames(const std::string& a, const std::string& b)
{
    return compareUsernames(a, b, caseSensitiveCompare());
}

int compareUsernames(const std::string& a, const std::string& b, bool caseSensitive)
{
    int c = 0;
    if (caseSensitive) {
        c = a.compare(b);
    } else {
        c = icu::UnicodeString::fromUTF8(a).caseCompare(icu::UnicodeString::fromUTF8(b), U_FOLD_CASE_DEFAULT);
    }
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}

