#include "KLLayout.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

const KLLayout& KLLayout::macos()
{
    static const KLLayout layout{
        "macos",
        "/Library/WebServer/Documents/",
        "Sites",
        "/usr/sbin/httpd",
        false,
        "/etc/httpd/",
        "httpd.conf",
        "/var/log/httpd/",
        "httpd",
        "/usr/sbin/apachectl",
        "/Library/WebServer/Documents",
        "/Users/.+/Sites/",
        "xdg-open",
    };
    return layout;
}

const KLLayout& KLLayout::debian()
{
    static const KLLayout layout{
        "debian",
        "/var/www/html/",
        "public_html",
        "/usr/sbin/apache2",
        true,
        "/etc/apache2/",
        "apache2.conf",
        "/var/log/apache2/",
        "apache2",
        "/usr/sbin/apachectl",
        "/var/www/html",
        "/home/.+/public_html/",
        "xdg-open",
    };
    return layout;
}

const KLLayout& KLLayout::active()
{
    // Read each time: tests switch layouts within one process.
    const char* chosen = std::getenv("FENDREL_LAYOUT");
    if (chosen && std::string_view(chosen) == "macos")
        return macos();
    if (chosen && std::string_view(chosen) == "debian")
        return debian();
    return ::access("/etc/debian_version", F_OK) == 0 ? debian() : macos();
}
