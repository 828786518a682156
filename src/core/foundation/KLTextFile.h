#pragma once

#include "KLFileStamp.h"

#include <optional>
#include <string>
#include <string_view>

// Text files as the system reads and writes them.
class KLTextFile
{
public:
    // Raw bytes of a file; nothing when it cannot be read.
    static std::optional<std::string> readBytes(const std::string& path);

    // Reads a file "with encoding detection" and returns UTF-8: UTF-8 with or
    // without a byte order mark, UTF-16 with a byte order mark, then ICU's
    // best guess. A file that cannot be read or decoded gives nothing.
    static std::optional<std::string> read(const std::string& path);
    static std::optional<std::string> decode(std::string_view bytes);

    // Reads a file that people and other programs edit beside Fendrel (the
    // users, groups and access files) as read() does, refusing what no such
    // file can be: more than kLargestEditable bytes, or no text (control
    // characters other than tab, line and page ends, escape). Nothing when
    // it cannot be used; lastError() then says why, for a message.
    static constexpr std::size_t kLargestEditable = std::size_t{64} << 20;
    static std::optional<std::string> readEditable(const std::string& path);
    // The same for a file open for reading (left open), judging its kind
    // and size from a stamp just taken of it instead of looking again.
    static std::optional<std::string> readEditable(int fd, const KLFileStamp& stamp);
    static const std::string& lastError();

    // Writes UTF-8 text atomically (KLAtomicFile).
    static bool write(const std::string& path, std::string_view text);
};
