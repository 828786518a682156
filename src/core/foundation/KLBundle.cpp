#include "KLBundle.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isFile(const std::string& path)
{
    struct stat st{};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool isFolder(const std::string& path)
{
    struct stat st{};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string runningProgramFolder()
{
    char buffer[4096];
    ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return ".";
    std::string path(buffer, static_cast<std::size_t>(n));
    return path.substr(0, path.rfind('/'));
}

} // namespace

KLBundle& KLBundle::main()
{
    static KLBundle bundle;
    return bundle;
}

KLBundle::KLBundle() : identifier_(kIdentifier)
{
    info_["CFBundleIdentifier"] = identifier_;
    info_["CFBundleName"] = "Fendrel";
    info_["CFBundleVersion"] = FENDREL_VERSION;
    info_["CFBundleCompany"] = "Quillmoor";
}

KLPlist KLBundle::objectForInfoDictionaryKey(const std::string& key) const
{
    auto it = info_.find(key);
    return it == info_.end() ? KLPlist() : it->second;
}

std::string KLBundle::resourcePath() const
{
    if (const char* env = std::getenv("FENDREL_RESOURCES"); env && *env)
        return env;
    std::string installed = std::string(FENDREL_INSTALL_PREFIX) + "/share/fendrel";
    std::string beside = runningProgramFolder() + "/../share/fendrel";
    if (isFolder(beside))
        return beside;
    if (isFolder(FENDREL_SOURCE_RESOURCES))
        return FENDREL_SOURCE_RESOURCES;
    return installed;
}

std::optional<std::string> KLBundle::pathForResource(const std::string& name, const std::string& type) const
{
    std::string path = resourcePath() + "/" + name + (type.empty() ? "" : "." + type);
    if (isFile(path))
        return path;
    return std::nullopt;
}

std::optional<std::string> KLBundle::pathForAuxiliaryExecutable(const std::string& name) const
{
    std::string installed = std::string(FENDREL_LIBEXEC_DIR) + "/" + name;
    // The helper runs as root: an installed program trusts no folder near
    // itself and no environment, only the path it was built for.
    std::string folder = runningProgramFolder();
    if (!folder.starts_with(std::string(FENDREL_BUILD_TREE) + "/"))
        return isFile(installed) ? std::optional(installed) : std::nullopt;
    if (const char* env = std::getenv("FENDREL_WEBCHECK"); env && *env && name == "WebCheck")
        return std::string(env);
    for (const std::string& candidate :
         {folder + "/" + name, folder + "/../webcheck/" + name, folder + "/../src/webcheck/" + name, installed}) {
        if (isFile(candidate))
            return candidate;
    }
    return std::nullopt;
}

std::string applicationName()
{
    return KLBundle::main().objectForInfoDictionaryKey("CFBundleName").description();
}

std::string applicationVersion()
{
    return KLBundle::main().objectForInfoDictionaryKey("CFBundleVersion").description();
}

std::string applicationCompany()
{
    return KLBundle::main().objectForInfoDictionaryKey("CFBundleCompany").description();
}
