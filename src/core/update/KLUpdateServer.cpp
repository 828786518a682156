#include "KLUpdateServer.h"

#include "KLStringExtensions.h"
#include "KLUserDefaults.h"

#include <charconv>

KLUpdateServer KLUpdateServer::parse(std::string_view text)
{
    std::string trimmed = stringByRemovingSurroundingWhitespace(text);
    KLUpdateServer server{trimmed, kDefaultPort};
    std::size_t colon = trimmed.rfind(':');
    if (colon == std::string::npos)
        return server;
    std::string_view digits = std::string_view(trimmed).substr(colon + 1);
    unsigned port = 0;
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size() || port == 0 || port > 65535)
        return server;
    server.host = trimmed.substr(0, colon);
    server.port = static_cast<std::uint16_t>(port);
    return server;
}

KLUpdateServer KLUpdateServer::fromDefaults()
{
    return parse(KLUserDefaults::standardUserDefaults().stringForKey(kSettingKey).value_or(kDefaultServer));
}
