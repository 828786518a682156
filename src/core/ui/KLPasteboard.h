#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

// Typed strings carried by a drag ("KLFendrelUser" for users dragged onto groups).
class KLPasteboard
{
public:
    static constexpr const char* kFendrelUserType = "KLFendrelUser";
    static constexpr const char* kStringType = "text/plain";

    void declareTypes(const std::vector<std::string>& types);
    const std::vector<std::string>& types() const { return types_; }
    bool setString(const std::string& value, const std::string& type);
    std::optional<std::string> stringForType(const std::string& type) const;

private:
    std::vector<std::string> types_;
    std::map<std::string, std::string> strings_;
};
