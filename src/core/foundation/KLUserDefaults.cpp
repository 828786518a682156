#include "KLUserDefaults.h"

#include "KLAssert.h"
#include "KLAtomicFile.h"
#include "KLLog.h"
#include "KLTextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>

namespace {

const char* const kKindCondition =
    "[value isKindOfClass:[NSString class]] || [value isKindOfClass:[NSData class]] || "
    "[value isKindOfClass:[NSNumber class]] || [value isKindOfClass:[NSDate class]] || "
    "[value isKindOfClass:[NSArray class]] || [value isKindOfClass:[NSDictionary class]]";

std::string configFolder()
{
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg == '/')
        return xdg;
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/.config";
}

void makeFolders(const std::string& path)
{
    for (std::size_t i = 1; i <= path.size(); ++i) {
        if (i == path.size() || path[i] == '/')
            ::mkdir(path.substr(0, i).c_str(), 0700);
    }
}

} // namespace

KLUserDefaults& KLUserDefaults::standardUserDefaults()
{
    static KLUserDefaults shared;
    return shared;
}

KLUserDefaults::KLUserDefaults()
{
    // Until the pane names its own domain, the host program's.
    appID_ = "com.quillmoor.fendrel.host";
}

void KLUserDefaults::setApplicationIdentifier(const std::string& identifier)
{
    std::lock_guard lock(mutex_);
    appID_ = identifier;
    storedPath_.clear();
}

std::string KLUserDefaults::preferencesPath() const
{
    return configFolder() + "/" + appID_ + ".plist";
}

void KLUserDefaults::registerDefaults(const KLPlist::Dictionary& defaults)
{
    std::lock_guard lock(mutex_);
    KLPlist& entry = registration_[appID_];
    KLPlist::Dictionary merged = entry.dictionary() ? *entry.dictionary() : KLPlist::Dictionary{};
    for (const auto& [key, value] : defaults)
        merged[key] = value;
    entry = merged;
}

KLPlist KLUserDefaults::registrationObjectForKey(const std::string& key) const
{
    std::lock_guard lock(mutex_);
    auto it = registration_.find(appID_);
    if (it == registration_.end())
        return {};
    return it->second[key];
}

void KLUserDefaults::refreshLocked() const
{
    std::string path = preferencesPath();
    struct stat st{};
    bool exists = ::stat(path.c_str(), &st) == 0;
    if (path == storedPath_) {
        if (!exists && storedSize_ < 0)
            return;
        if (exists && st.st_dev == storedDevice_ && st.st_ino == storedInode_ && st.st_size == storedSize_ &&
            st.st_mtim.tv_sec == storedTime_.tv_sec && st.st_mtim.tv_nsec == storedTime_.tv_nsec)
            return;
    }
    storedPath_ = path;
    stored_.clear();
    storedSize_ = -1;
    if (!exists)
        return;
    if (!S_ISREG(st.st_mode)) {
        // Not ours to move aside; writes will fail and say so.
        KLLog("[Fendrel] Settings path " + path + " is not a file");
        return;
    }
    storedDevice_ = st.st_dev;
    storedInode_ = st.st_ino;
    storedSize_ = st.st_size;
    storedTime_ = st.st_mtim;

    auto bytes = KLTextFile::readBytes(path);
    std::optional<KLPlist> plist = bytes ? KLPlist::fromBytes(*bytes) : std::nullopt;
    if (plist && plist->dictionary()) {
        stored_ = *plist->dictionary();
        return;
    }
    // A damaged file is kept aside, never silently overwritten.
    std::string aside = path + ".corrupt-" + std::to_string(std::time(nullptr));
    if (std::rename(path.c_str(), aside.c_str()) == 0)
        KLLog("[Fendrel] Settings file " + path + " could not be read; kept as " + aside);
    else
        KLLog("[Fendrel] Settings file " + path + " could not be read");
    storedSize_ = -1;
}

KLPlist KLUserDefaults::objectForKey(const std::string& key) const
{
    {
        std::lock_guard lock(mutex_);
        refreshLocked();
        auto it = stored_.find(key);
        if (it != stored_.end())
            return it->second;
    }
    return registrationObjectForKey(key);
}

KLPlist::Dictionary KLUserDefaults::storedValues() const
{
    std::lock_guard lock(mutex_);
    refreshLocked();
    return stored_;
}

std::optional<std::string> KLUserDefaults::stringForKey(const std::string& key) const
{
    KLPlist v = objectForKey(key);
    if (const std::string* s = v.string())
        return *s;
    return std::nullopt;
}

std::optional<KLPlist::Array> KLUserDefaults::arrayForKey(const std::string& key) const
{
    KLPlist v = objectForKey(key);
    if (const KLPlist::Array* a = v.array())
        return *a;
    return std::nullopt;
}

bool KLUserDefaults::boolForKey(const std::string& key) const
{
    return objectForKey(key).boolReading().value_or(false);
}

std::int32_t KLUserDefaults::integerForKey(const std::string& key) const
{
    return static_cast<std::int32_t>(objectForKey(key).integerReading().value_or(0));
}

float KLUserDefaults::floatForKey(const std::string& key) const
{
    return static_cast<float>(objectForKey(key).doubleReading().value_or(0.0));
}

double KLUserDefaults::doubleForKey(const std::string& key) const
{
    return objectForKey(key).doubleReading().value_or(0.0);
}

bool KLUserDefaults::setObject(const KLPlist& value, const std::string& key)
{
    KL_PARAMETER_ASSERT_TEXT(!value.isNull(), kKindCondition);
    return setCFObject(value, key);
}

bool KLUserDefaults::setBool(bool value, const std::string& key)
{
    return setCFObject(value, key);
}

bool KLUserDefaults::setInteger(std::int32_t value, const std::string& key)
{
    return setCFObject(KLPlist(static_cast<long long>(value)), key);
}

bool KLUserDefaults::setFloat(float value, const std::string& key)
{
    return setCFObject(KLPlist(value), key);
}

bool KLUserDefaults::setDouble(double value, const std::string& key)
{
    return setCFObject(KLPlist(value), key);
}

bool KLUserDefaults::removeDefaultForKey(const std::string& key)
{
    return setCFObject(KLPlist(), key);
}

bool KLUserDefaults::setCFObject(const KLPlist& value, const std::string& key)
{
    std::lock_guard lock(mutex_);
    refreshLocked();
    KLPlist::Dictionary next = stored_;
    if (value.isNull())
        next.erase(key);
    else
        next[key] = value;
    // The file holds these values already: start-up sets several settings
    // to what they are, and each write is two flushes to the disk. What a
    // killed writer left beside the file still goes, once per process, as a
    // write would have removed it.
    if (storedSize_ >= 0 && next == stored_) {
        if (sweptPath_ != preferencesPath()) {
            sweptPath_ = preferencesPath();
            KLAtomicFile::removeLeftovers(sweptPath_);
        }
        return true;
    }

    std::string path = preferencesPath();
    auto slash = path.rfind('/');
    makeFolders(path.substr(0, slash));
    KLAtomicFile::Options options;
    options.defaultMode = 0600;
    if (!KLAtomicFile::write(path, KLPlist(next).toXML(), options)) {
        KLLog("[Fendrel] Cannot write settings: " + KLAtomicFile::lastError());
        return false;
    }
    stored_ = std::move(next);
    struct stat st{};
    if (::stat(path.c_str(), &st) == 0) {
        storedPath_ = path;
        storedDevice_ = st.st_dev;
        storedInode_ = st.st_ino;
        storedSize_ = st.st_size;
        storedTime_ = st.st_mtim;
    }
    return true;
}
