#include "KLAtomicFile.h"

#include "KLLog.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

thread_local std::string g_lastError;
thread_local int g_lastErrno = 0;

bool fail(const std::string& what)
{
    g_lastErrno = errno;
    g_lastError = what + ": " + std::strerror(errno);
    return false;
}

std::string folderOf(const std::string& path)
{
    auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

// Temporary files are named <file>.<writer's pid>.XXXXXX. One whose writer is
// gone was left by a writer that was killed before its rename: the file it
// was to replace is whole, and the leftover goes.
void KLAtomicFile::removeLeftovers(const std::string& path)
{
    std::string folder = folderOf(path);
    std::string prefix = path.substr(path.rfind('/') + 1) + ".";
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    while (const dirent* entry = ::readdir(dir)) {
        std::string_view name = entry->d_name;
        if (!name.starts_with(prefix))
            continue;
        std::string_view rest = name.substr(prefix.size());
        std::size_t dot = rest.find('.');
        if (dot == 0 || dot == std::string_view::npos || rest.size() - dot - 1 != 6 ||
            rest.substr(0, dot).find_first_not_of("0123456789") != std::string_view::npos)
            continue;
        pid_t writer = static_cast<pid_t>(std::strtol(std::string(rest.substr(0, dot)).c_str(), nullptr, 10));
        if (writer > 0 && ::kill(writer, 0) != 0 && errno == ESRCH)
            ::unlinkat(::dirfd(dir), entry->d_name, 0);
    }
    ::closedir(dir);
}

const std::string& KLAtomicFile::lastError()
{
    return g_lastError;
}

std::string KLAtomicFile::lastReason()
{
    return std::strerror(g_lastErrno);
}

bool KLAtomicFile::write(const std::string& path, std::string_view bytes)
{
    return write(path, bytes, Options{});
}

bool KLAtomicFile::write(const std::string& path, std::string_view bytes, const Options& options)
{
    struct stat old{};
    bool hadFile = ::stat(path.c_str(), &old) == 0;
    if (hadFile && !S_ISREG(old.st_mode)) {
        errno = EISDIR;
        return fail(path);
    }

    removeLeftovers(path);
    std::string temp = path + "." + std::to_string(::getpid()) + ".XXXXXX";
    int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return fail("cannot create a temporary file beside " + path);

    auto abandon = [&](const std::string& what) {
        int saved = errno;
        ::close(fd);
        ::unlink(temp.c_str());
        errno = saved;
        return fail(what);
    };

    const char* p = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return abandon("cannot write " + temp);
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }

    if (hadFile) {
        if (options.keepOwnership && ::fchown(fd, old.st_uid, old.st_gid) != 0) {
            if (::geteuid() == 0)
                return abandon("cannot give " + temp + " the old owner");
            // Only root gives files away, but a member of the old group may
            // keep it, and the group is often how the web server reads the file.
            if (::fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0)
                KLLog("[Fendrel] " + path + " now belongs to the group of the user who changed it: " +
                      std::strerror(errno));
        }
        if (::fchmod(fd, old.st_mode & 07777) != 0)
            return abandon("cannot give " + temp + " the old mode");
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        if (::fchmod(fd, options.defaultMode & ~mask) != 0)
            return abandon("cannot set the mode of " + temp);
    }

    if (::fsync(fd) != 0)
        return abandon("cannot sync " + temp);
    if (::close(fd) != 0) {
        int saved = errno;
        ::unlink(temp.c_str());
        errno = saved;
        return fail("cannot close " + temp);
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        int saved = errno;
        ::unlink(temp.c_str());
        errno = saved;
        return fail("cannot rename " + temp + " to " + path);
    }
    // Make the rename itself durable.
    int dir = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}
