#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

// Whole-file replacement that never leaves a half-written file: the bytes go
// to a temporary file in the same folder, which gets the old file's owner,
// group and mode (or the given defaults when there was none), is synced and
// renamed over the old one. On any failure the old file stays as it was and
// the temporary file is removed. A writer that is not root cannot keep
// another user's ownership: the file then keeps its group when the writer is
// a member of it (otherwise it takes the writer's, which is logged).
class KLAtomicFile
{
public:
    struct Options
    {
        mode_t defaultMode = 0644; // used when no file exists yet (umask applies)
        bool keepOwnership = true; // copy owner and group of the old file
    };

    static bool write(const std::string& path, std::string_view bytes);
    static bool write(const std::string& path, std::string_view bytes, const Options& options);
    // Removes the temporary files of `path` left by writers that were killed
    // before their rename (every write does so first).
    static void removeLeftovers(const std::string& path);

    // The reason of the last failure on this thread, for log lines.
    static const std::string& lastError();
    // Only the system's words for it ("No space left on device"), for people.
    static std::string lastReason();
};
