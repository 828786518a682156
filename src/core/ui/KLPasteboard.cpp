#include "KLPasteboard.h"

#include <algorithm>

void KLPasteboard::declareTypes(const std::vector<std::string>& types)
{
    types_ = types;
    strings_.clear();
}

bool KLPasteboard::setString(const std::string& value, const std::string& type)
{
    if (std::find(types_.begin(), types_.end(), type) == types_.end())
        return false;
    strings_[type] = value;
    return true;
}

std::optional<std::string> KLPasteboard::stringForType(const std::string& type) const
{
    auto it = strings_.find(type);
    if (it == strings_.end())
        return std::nullopt;
    return it->second;
}
