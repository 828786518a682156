#pragma once

#include "KLPlist.h"

#include <string>

// Turns the text typed for `settings set` into a typed value. A key with a
// registered default takes the kind of that default (so "Apache Site Port"
// stays a string even when it looks like a number); any other key reads
// true/false as a boolean, digits as an integer or a real, text starting with
// "[" or "{" (or a quoted string) as JSON, and everything else as a string.
// "Password Hash" takes DES or bcrypt (any letter case), stored as the pane
// names them. Throws KLCliError (refused) for text that does not fit the key.
class KLSettingValue
{
public:
    static KLPlist parse(const std::string& key, const std::string& text, const KLPlist& registeredDefault);
    static KLPlist infer(const std::string& text);
};
