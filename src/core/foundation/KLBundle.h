#pragma once

#include "KLPlist.h"

#include <optional>
#include <string>

// The pane's bundle: its identifier, its information entries, its resources
// and its auxiliary programs. Resources come from the installed
// share/fendrel/ or, when run from the build tree, the source tree's
// resources/; FENDREL_RESOURCES overrides both.
class KLBundle
{
public:
    static KLBundle& main();

    static constexpr const char* kIdentifier = "com.quillmoor.fendrel";

    const std::string& identifier() const { return identifier_; }
    // "CFBundleName", "CFBundleVersion", "CFBundleCompany", "CFBundleIdentifier".
    KLPlist objectForInfoDictionaryKey(const std::string& key) const;

    std::string resourcePath() const;
    // The path of resource "<name>.<type>", or nothing when it does not exist.
    std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const;
    // An installed program: only <libexec>/fendrel/<name> as configured at
    // build time. A program of the build tree (decided by the build tree's
    // path, compiled in): FENDREL_WEBCHECK for WebCheck, else the build's own
    // beside it or in ../webcheck/ or ../src/webcheck/, else the installed one.
    std::optional<std::string> pathForAuxiliaryExecutable(const std::string& name) const;

private:
    KLBundle();
    std::string identifier_;
    KLPlist::Dictionary info_;
};

// The information entries of the pane's own bundle.
std::string applicationName();
std::string applicationVersion();
std::string applicationCompany();
