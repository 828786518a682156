#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Where the update check and the downloads go: the host of an HTTP/1.0
// server that answers "/KLSVersions.php" and serves the download paths. It
// is a deployment setting, "Update Server", written "host" or "host:port".
struct KLUpdateServer
{
    static constexpr const char* kSettingKey = "Update Server";
    static constexpr const char* kDefaultServer = "updates.quillmoor.com";
    static constexpr std::uint16_t kDefaultPort = 80;

    std::string host;
    std::uint16_t port = kDefaultPort;

    // "host" or "host:port" with a port of 1 to 65535; surrounding white
    // space is ignored. Any other text after a colon stays part of the host
    // name, so the lookup fails and names the text the user wrote.
    static KLUpdateServer parse(std::string_view text);
    // The stored setting (its registered default when unset).
    static KLUpdateServer fromDefaults();

    bool operator==(const KLUpdateServer&) const = default;
};
