#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

// A version string such as "2.1b3" as tokens (numbers and dividers) that can
// be ordered against another version. A comparison reads both versions'
// cursors and leaves them where it stopped: compare a pair once, or call
// resetCursor() in between.
class KLVersionNumber
{
public:
    // Nothing for an empty string. A string that does not parse gives a
    // version without tokens (the error is logged).
    static std::unique_ptr<KLVersionNumber> versionWithString(const std::string& version);
    explicit KLVersionNumber(const std::string& version);

    const std::string& stringValue() const { return versionString_; }
    std::string description() const;
    int numberOfTokens() const { return static_cast<int>(tokens_.size()); }
    std::int32_t nextToken();
    void resetCursor() { cursor_ = 0; }
    // -1, 0 or 1: this version is older than, the same as or newer than other.
    int compare(KLVersionNumber& other);

    // The dividers in weight order.
    static const std::vector<std::string>& dividers();

private:
    using Token = std::variant<std::int32_t, std::string>;
    void parseString(const std::string& version);

    std::int32_t cursor_ = 0;
    std::vector<Token> tokens_;
    std::string versionString_;
};
