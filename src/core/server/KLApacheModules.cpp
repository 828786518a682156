#include "KLApacheModules.h"

#include "KLFileExtensions.h"
#include "KLLayout.h"
#include "KLStringExtensions.h"

#include <cstdlib>

namespace {

constexpr const char* kGroupModule = "authz_groupfile";
constexpr const char* kCoreModule = "authz_core";

bool isAddressModule(const std::string& module)
{
    return module == "authz_host" || module == "access_compat";
}

} // namespace

const std::vector<std::string>& KLApacheModules::accessModules()
{
    static const std::vector<std::string> modules{"auth_basic", "authn_core", "authn_file",  "authz_core",
                                                  "authz_user", kGroupModule, "authz_host", "access_compat"};
    return modules;
}

std::vector<std::string> KLApacheModules::missing(const std::string& confDir, bool personalFolders)
{
    if (!isFolder(stringByAppendingPathComponent(confDir, "mods-available")))
        return {};
    const std::string enabled = stringByAppendingPathComponent(confDir, "mods-enabled");
    std::vector<std::string> modules = accessModules();
    if (personalFolders)
        modules.push_back(kUserDir);
    std::erase_if(modules, [&enabled](const std::string& module) {
        return fileExists(stringByAppendingPathComponent(enabled, module + ".load"));
    });
    return modules;
}

std::string KLApacheModules::problem(const std::string& module)
{
    if (module == kUserDir)
        return "Personal web folders are not served: the Apache module userdir is off.";
    std::string rules = module == kGroupModule     ? "Group rules"
                        : isAddressModule(module) ? "Address rules"
                        : module == kCoreModule   ? "Access rules"
                                                  : "Password rules";
    return rules + " need the Apache module " + module + ", which is off.";
}

bool KLApacheModules::hasPersonalFolder()
{
    const char* home = std::getenv("HOME");
    return home && *home && isFolder(stringByAppendingPathComponent(home, KLLayout::active().personalWebFolder));
}
