// What an access file promises a client on this machine, and where on the
// site its folder is asked for.

#include "KLAccessVerifier.h"

#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLLayout.h"
#include "KLUserDefaults.h"

#include <arpa/inet.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace {

constexpr const char* kSiteAddressKey = "Apache Site Address";
constexpr const char* kSitePortKey = "Apache Site Port";
constexpr std::uint16_t kDefaultPort = 80;
constexpr const char* kLoopback = "127.0.0.1";

constexpr const char* kAddressesUnjudged =
    "The access file lets this machine in by its address, so its addresses cannot be judged from this machine.";
constexpr const char* kAddressesUnknown =
    "The access file names addresses that cannot be judged from this machine.";

std::string loginName()
{
    if (const passwd* entry = ::getpwuid(::getuid()))
        return entry->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// The rest of path below folder ("" for folder itself), or nothing.
std::optional<std::string> below(const std::string& path, const std::string& folder)
{
    std::string base = withoutTrailingSlashes(folder);
    std::string inner = withoutTrailingSlashes(path);
    if (base.empty() || base == "/")
        return std::nullopt;
    if (inner == base)
        return std::string();
    if (inner.size() > base.size() && inner.compare(0, base.size(), base) == 0 && inner[base.size()] == '/')
        return inner.substr(base.size() + 1);
    return std::nullopt;
}

// Each path component percent-encoded, "/" kept.
std::string urlEncoded(const std::string& path)
{
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~')
            out += static_cast<char>(c);
        else
            out += {'%', hex[c >> 4], hex[c & 15]};
    }
    return out;
}

// Whether one address rule of an access file covers 127.0.0.1: an address,
// a partial address, a network with its length or mask, or the name the
// loopback address has; nothing when that cannot be known here (env=).
std::optional<bool> coversLoopback(std::string rule)
{
    std::transform(rule.begin(), rule.end(), rule.begin(), [](unsigned char c) { return std::tolower(c); });
    if (rule.rfind("env=", 0) == 0)
        return std::nullopt;
    if (rule == "localhost" || rule == "localhost.localdomain")
        return true;
    const std::uint32_t loopback = 0x7f000001;
    std::string address = rule;
    std::string mask;
    if (auto slash = rule.find('/'); slash != std::string::npos) {
        address = rule.substr(0, slash);
        mask = rule.substr(slash + 1);
    }
    // A partial address names the networks of its leading bytes.
    std::uint32_t value = 0;
    int bytes = 0;
    std::size_t at = 0;
    while (at < address.size() && bytes < 4) {
        std::size_t end = address.find('.', at);
        std::string part = address.substr(at, end == std::string::npos ? std::string::npos : end - at);
        if (part.empty() || part.size() > 3 || !std::all_of(part.begin(), part.end(), ::isdigit) || std::stoi(part) > 255)
            return false; // a host name or an IPv6 address: not how this machine is seen
        value |= static_cast<std::uint32_t>(std::stoi(part)) << (24 - 8 * bytes++);
        if (end == std::string::npos)
            break;
        at = end + 1;
    }
    if (bytes == 0)
        return false;
    std::uint32_t netmask = bytes == 4 ? 0xffffffffu : ~(0xffffffffu >> (8 * bytes));
    if (!mask.empty()) {
        in_addr parsed{};
        if (mask.find('.') != std::string::npos && ::inet_pton(AF_INET, mask.c_str(), &parsed) == 1) {
            netmask = ntohl(parsed.s_addr);
        } else if (std::all_of(mask.begin(), mask.end(), ::isdigit) && mask.size() <= 2 && std::stoi(mask) <= 32) {
            // Shifted as 64 bits, so that /0 and /32 need no case of their own.
            netmask = static_cast<std::uint32_t>(~(0xffffffffull >> std::stoi(mask)));
        } else {
            return false;
        }
    }
    return (value & netmask) == (loopback & netmask);
}

std::vector<std::string> listAt(const KLFSItem& item, const char* key)
{
    std::vector<std::string> out;
    auto it = item.authDict().find(key);
    if (it != item.authDict().end() && it->second.array())
        for (const KLPlist& element : *it->second.array())
            out.push_back(element.description());
    return out;
}

// Whether any rule of the list covers the loopback address; nothing when a
// rule cannot be judged and none surely does.
std::optional<bool> anyCovers(const std::vector<std::string>& rules)
{
    bool unknown = false;
    for (const std::string& rule : rules) {
        std::optional<bool> covers = coversLoopback(rule);
        if (covers && *covers)
            return true;
        unknown = unknown || !covers;
    }
    return unknown ? std::nullopt : std::optional<bool>(false);
}

// Whether the address rules let 127.0.0.1 in. Files are written with
// "Order deny,allow": in allow-list mode only the allowed addresses get in;
// in deny-list mode everyone but the denied, unless also allowed.
std::optional<bool> letsLoopbackIn(const KLFSItem& item)
{
    std::optional<bool> allowed = anyCovers(listAt(item, KLFSItem::kAllowFrom));
    if (allowed && *allowed)
        return true;
    if (item.isAllowSet())
        return allowed;
    std::optional<bool> denied = anyCovers(listAt(item, KLFSItem::kDenyFrom));
    if (!denied || !allowed)
        return std::nullopt;
    return !*denied;
}

} // namespace

KLAccessVerifier::Site KLAccessVerifier::siteForRoot(const std::string& rootPath)
{
    Site site;
    const KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    std::string address = defaults.stringForKey(kSiteAddressKey).value_or(kLoopback);
    site.host = address.empty() ? kLoopback : address;
    std::string port = defaults.stringForKey(kSitePortKey).value_or("");
    // "host:port" names its own port; a bracketed IPv6 host keeps its colons.
    if (auto colon = address.rfind(':'); colon != std::string::npos && address.find(']', colon) == std::string::npos)
        port = address.substr(colon + 1);
    char* end = nullptr;
    long number = std::strtol(port.c_str(), &end, 10);
    site.port = !port.empty() && *end == '\0' && number > 0 && number <= 65535 ? static_cast<std::uint16_t>(number)
                                                                            : kDefaultPort;

    const KLLayout& layout = KLLayout::active();
    const char* home = std::getenv("HOME");
    std::string personal = std::string(home ? home : "") + "/" + layout.personalWebFolder;
    std::string prefix = "/";
    if (auto rest = below(rootPath, personal))
        prefix = "/~" + loginName() + "/" + *rest;
    else if (auto shared = below(rootPath, layout.sharedDocumentRoot))
        prefix = "/" + *shared;
    if (prefix.back() != '/')
        prefix += '/';
    site.urlPrefix = prefix;
    return site;
}

KLAccessCheck KLAccessVerifier::expectationFor(const KLFSItem& item, const KLFSItem& root, const Site& site)
{
    KLAccessCheck check;
    check.fullPath = item.fullPath();
    check.accessPath = item.accessPath();
    check.mode = item.isAuthenticationDisabled() ? KLFSDataSource::None : KLFSDataSource::modeIndex(item);
    std::string rest = below(item.fullPath(), root.fullPath()).value_or("");
    check.urlPath = urlEncoded(site.urlPrefix + rest + (rest.empty() ? "" : "/"));

    std::optional<bool> loopbackIn = letsLoopbackIn(item);
    auto cannotJudge = [&] { check.reason = loopbackIn ? kAddressesUnjudged : kAddressesUnknown; };
    switch (check.mode) {
    case KLFSDataSource::Password:
        check.expected = 401;
        break;
    case KLFSDataSource::Address:
        if (loopbackIn && !*loopbackIn)
            check.expected = 403;
        else
            cannotJudge();
        break;
    case KLFSDataSource::PasswordOrAddress:
        // Either suffices: an address that lets this machine in skips the login.
        if (loopbackIn && !*loopbackIn)
            check.expected = 401;
        else
            cannotJudge();
        break;
    case KLFSDataSource::PasswordAndAddress:
        if (!loopbackIn)
            cannotJudge();
        else
            check.expected = *loopbackIn ? 401 : 403;
        break;
    default:
        break;
    }
    return check;
}
