#include "KLFileWatcher.h"

#include <sys/inotify.h>
#include <unistd.h>

namespace {
constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB |
                                  IN_MODIFY | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
} // namespace

KLFileWatcher::KLFileWatcher() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
}

KLFileWatcher::~KLFileWatcher()
{
    if (fd_ >= 0)
        ::close(fd_);
}

void KLFileWatcher::watchFolder(const std::string& folder)
{
    if (fd_ < 0 || watches_.contains(folder))
        return;
    int wd = ::inotify_add_watch(fd_, folder.c_str(), kEvents);
    if (wd >= 0)
        watches_.emplace(folder, wd);
}

bool KLFileWatcher::takeChanges()
{
    bool changed = false;
    alignas(inotify_event) char buffer[16384];
    ssize_t n;
    while (fd_ >= 0 && (n = ::read(fd_, buffer, sizeof buffer)) > 0) {
        changed = true;
        for (ssize_t at = 0; at < n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            // The kernel dropped the watch with its folder: a folder made
            // later under that name is watched anew.
            if (event->mask & IN_IGNORED)
                std::erase_if(watches_, [event](const auto& watch) { return watch.second == event->wd; });
        }
    }
    return changed;
}
