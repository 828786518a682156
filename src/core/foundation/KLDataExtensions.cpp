#include "KLDataExtensions.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

void appendString(std::string& data, std::string_view text)
{
    data.append(text);
}

void stripHeaders(std::string& data)
{
    char buffer[512] = {};
    std::memcpy(buffer, data.data(), std::min<std::size_t>(data.size(), 511));
    const char* end = std::strstr(buffer, "\r\n\r\n");
    if (end)
        data.erase(0, static_cast<std::size_t>(end - buffer) + 4);
}

bool writeString(int fd, std::string_view text)
{
    while (!text.empty()) {
        ssize_t n = ::write(fd, text.data(), text.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}
