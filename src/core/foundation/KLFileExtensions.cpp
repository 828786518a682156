#include "KLFileExtensions.h"

#include <unistd.h>

#include <vector>

std::optional<struct stat> attributesOfItemAtPath(const std::string& path, bool traverseLink)
{
    std::string current = path;
    for (int hops = 0; hops <= 40; ++hops) {
        struct stat st{};
        if (::lstat(current.c_str(), &st) != 0)
            return std::nullopt;
        if (!traverseLink || !S_ISLNK(st.st_mode))
            return st;
        std::vector<char> buffer(4096);
        ssize_t n = ::readlink(current.c_str(), buffer.data(), buffer.size() - 1);
        if (n <= 0)
            return std::nullopt;
        current.assign(buffer.data(), static_cast<std::size_t>(n));
    }
    return std::nullopt;
}

int isFileAcceptable(const std::string& path)
{
    // Links are followed: a link to nothing (or a loop of links) leaves
    // nothing to read, the same as no file at all.
    struct stat st{};
    if (::stat(path.c_str(), &st) != 0)
        return 4;
    return st.st_size == 0 ? 9 : 0;
}

bool fileExists(const std::string& path)
{
    struct stat st{};
    return ::lstat(path.c_str(), &st) == 0;
}

bool isFolder(const std::string& path)
{
    struct stat st{};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}
