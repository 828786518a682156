#pragma once

#include "KLPlist.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <ctime>

// The one settings store: typed values per key in the per-user domain of the
// application identifier, an XML property list at
// $XDG_CONFIG_HOME/<identifier>.plist (default ~/.config). Every set writes
// the whole file through at once; missing keys fall back to the registered
// defaults of the current identifier.
class KLUserDefaults
{
public:
    static KLUserDefaults& standardUserDefaults();

    const std::string& applicationIdentifier() const { return appID_; }
    void setApplicationIdentifier(const std::string& identifier);

    void registerDefaults(const KLPlist::Dictionary& defaults);
    KLPlist registrationObjectForKey(const std::string& key) const;

    KLPlist objectForKey(const std::string& key) const; // null when none
    std::optional<std::string> stringForKey(const std::string& key) const;
    std::optional<KLPlist::Array> arrayForKey(const std::string& key) const;
    bool boolForKey(const std::string& key) const;
    std::int32_t integerForKey(const std::string& key) const;
    float floatForKey(const std::string& key) const;
    double doubleForKey(const std::string& key) const;

    // Raises KLInvalidParameter for a null value; stores nothing then.
    bool setObject(const KLPlist& value, const std::string& key);
    bool setBool(bool value, const std::string& key);
    bool setInteger(std::int32_t value, const std::string& key);
    bool setFloat(float value, const std::string& key);
    bool setDouble(double value, const std::string& key);
    bool removeDefaultForKey(const std::string& key);
    // The write every setter goes through; a null value removes the key.
    // Returns whether the file was written.
    bool setCFObject(const KLPlist& value, const std::string& key);

    // Every stored key and value of the current domain (not the defaults).
    KLPlist::Dictionary storedValues() const;
    std::string preferencesPath() const;

private:
    KLUserDefaults();
    void refreshLocked() const;

    mutable std::mutex mutex_;
    std::string appID_;
    KLPlist::Dictionary registration_; // identifier -> dictionary of defaults

    // The stored domain as last read; re-read when the file changes on disk.
    mutable KLPlist::Dictionary stored_;
    mutable std::string storedPath_;
    mutable dev_t storedDevice_ = 0;
    mutable ino_t storedInode_ = 0;
    mutable off_t storedSize_ = -1;
    mutable timespec storedTime_{};
    std::string sweptPath_; // whose leftover temporary files were removed
};
