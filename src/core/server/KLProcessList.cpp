#include "KLProcessList.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <memory>

std::vector<std::string> KLProcessList::allProcessNames(const std::string& procRoot)
{
    std::vector<std::string> names;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(procRoot.c_str()), ::closedir);
    if (!dir)
        return names;
    while (const dirent* entry = ::readdir(dir.get())) {
        std::string pid = entry->d_name;
        if (pid.empty() || !std::all_of(pid.begin(), pid.end(), [](unsigned char c) { return std::isdigit(c); }))
            continue;
        int fd = ::open((procRoot + "/" + pid + "/comm").c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        char buffer[64];
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        ::close(fd);
        if (n <= 0)
            continue;
        std::string name(buffer, static_cast<std::size_t>(n));
        if (name.back() == '\n')
            name.pop_back();
        names.push_back(std::move(name));
    }
    return names;
}
