#include "KLTextFile.h"

#include "KLAtomicFile.h"
#include "KLByteWords.h"

#include <unicode/ucnv.h>
#include <unicode/ucsdet.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sys/stat.h>

namespace {

thread_local std::string g_lastError;

std::nullopt_t refuse(std::string why)
{
    g_lastError = std::move(why);
    return std::nullopt;
}

bool isTextByte(unsigned char c)
{
    return (c >= 0x20 || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r' || c == 0x1b) && c != 0x7f;
}

// With `asciiOnly`, also false for any byte past ASCII: plain ASCII text,
// the usual credentials or access file, needs no decoding, and one pass
// tells both.
template <bool asciiOnly = false>
bool isText(std::string_view text)
{
    using namespace KLByteWords;
    std::size_t i = 0;
    // Eight bytes at a time: exact masks of the bytes below 0x20 and of
    // 0x7f, so that only the control characters found (mostly line ends)
    // are looked at one by one.
    for (; i + 8 <= text.size(); i += 8) {
        std::uint64_t eight = load(text.data() + i);
        std::uint64_t below = ~((eight | kHighBits) - kOnes * 0x20) & ~eight & kHighBits;
        if (zeroBytes(eight ^ (kOnes * 0x7f)) || (asciiOnly && (eight & kHighBits)))
            return false;
        for (; below; below &= below - 1) {
            std::size_t at = i + static_cast<std::size_t>(std::countr_zero(below)) / 8;
            if (!isTextByte(static_cast<unsigned char>(text[at])))
                return false;
        }
    }
    for (; i < text.size(); ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (!isTextByte(c) || (asciiOnly && c >= 0x80))
            return false;
    }
    return true;
}

// ICU's reader refuses what a loose check lets through: overlong forms,
// surrogates and code points past U+10FFFF. Text holding them is no UTF-8
// and goes to charset detection instead.
bool isValidUTF8(std::string_view s)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(s.data());
    std::int64_t length = static_cast<std::int64_t>(s.size());
    // Runs of ASCII, most of a credentials file, eight bytes at a time.
    for (std::int64_t i = 0; i < length;) {
        if (i + 8 <= length) {
            if ((KLByteWords::load(s.data() + i) & KLByteWords::kHighBits) == 0) {
                i += 8;
                continue;
            }
        }
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0)
            return false;
    }
    return true;
}

std::optional<std::string> convert(std::string_view bytes, const char* charset)
{
    icu::UnicodeString u(bytes.data(), static_cast<int32_t>(bytes.size()), charset);
    if (u.isBogus())
        return std::nullopt;
    std::string out;
    u.toUTF8String(out);
    return out;
}

// UTF-8 without a byte order mark is its own text: no copy.
std::optional<std::string> decodeOwned(std::string&& bytes)
{
    if (!bytes.starts_with("\xEF\xBB\xBF") && isValidUTF8(bytes))
        return std::move(bytes);
    return KLTextFile::decode(bytes);
}

// POSIX reads, so that a folder (which opens fine but cannot be read)
// or a read error gives nothing rather than an empty text. Read in place at
// the size the file was seen to have, plus a byte to see its end; a file
// that grew meanwhile is read to its new end. A regular file that gives
// less than asked for has been read to its end: no second call to hear so.
std::optional<std::string> readAll(int fd, off_t size, bool regular)
{
    std::string bytes(size > 0 ? static_cast<std::size_t>(size) + 1 : 4096, '\0');
    std::size_t used = 0;
    for (;;) {
        if (used == bytes.size())
            bytes.resize(bytes.size() * 2);
        std::size_t asked = bytes.size() - used;
        ssize_t n = ::read(fd, bytes.data() + used, asked);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            break;
        used += static_cast<std::size_t>(n);
        if (regular && static_cast<std::size_t>(n) < asked)
            break;
    }
    bytes.resize(used);
    return bytes;
}

// A file seen to be of this kind and size, read by read() as an editable
// file.
template <class Read>
std::optional<std::string> readEditableOfKind(mode_t mode, off_t size, Read read)
{
    // A pipe or device would hold the reader, or never end.
    if (!S_ISREG(mode))
        return refuse(S_ISDIR(mode) ? "it is a folder" : "it is not a regular file");
    if (static_cast<std::uint64_t>(size) > KLTextFile::kLargestEditable)
        return refuse("it is larger than 64 MiB");
    std::optional<std::string> bytes = read();
    if (!bytes)
        return refuse(std::strerror(errno));
    // A file that grew past the limit while it was read.
    if (bytes->size() > KLTextFile::kLargestEditable)
        return refuse("it is larger than 64 MiB");
    if (isText<true>(*bytes))
        return bytes;
    std::optional<std::string> text = decodeOwned(std::move(*bytes));
    if (!text || !isText(*text))
        return refuse("it is not a text file");
    return text;
}

} // namespace

std::optional<std::string> KLTextFile::readBytes(const std::string& path)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct stat info{};
    bool known = ::fstat(fd, &info) == 0;
    std::optional<std::string> bytes = readAll(fd, known ? info.st_size : 0, known && S_ISREG(info.st_mode));
    ::close(fd);
    return bytes;
}

std::optional<std::string> KLTextFile::read(const std::string& path)
{
    auto bytes = readBytes(path);
    if (!bytes)
        return std::nullopt;
    return decodeOwned(std::move(*bytes));
}

std::optional<std::string> KLTextFile::decode(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.remove_prefix(3);
        return isValidUTF8(bytes) ? std::optional<std::string>(std::string(bytes)) : std::nullopt;
    }
    if (bytes.starts_with("\xFF\xFE"))
        return convert(bytes.substr(2), "UTF-16LE");
    if (bytes.starts_with("\xFE\xFF"))
        return convert(bytes.substr(2), "UTF-16BE");
    if (isValidUTF8(bytes))
        return std::string(bytes);

    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&status), ucsdet_close);
    if (U_FAILURE(status))
        return std::nullopt;
    ucsdet_setText(detector.get(), bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    int32_t count = 0;
    const UCharsetMatch** matches = ucsdet_detectAll(detector.get(), &count, &status);
    if (U_FAILURE(status))
        return std::nullopt;
    // Without a byte order mark, UTF-16 and UTF-32 text of line-based files
    // has NUL bytes (the high halves of ASCII characters); ICU also offers
    // them, with the highest confidence, for short Latin-1 text.
    bool hasNul = bytes.find('\0') != std::string_view::npos;
    for (int32_t i = 0; i < count; ++i) {
        const char* name = ucsdet_getName(matches[i], &status);
        if (U_FAILURE(status) || !name)
            return std::nullopt;
        std::string_view charset(name);
        if (!hasNul && (charset.starts_with("UTF-16") || charset.starts_with("UTF-32")))
            continue;
        return convert(bytes, name);
    }
    return std::nullopt;
}

std::optional<std::string> KLTextFile::readEditable(const std::string& path)
{
    struct stat info{};
    if (::stat(path.c_str(), &info) != 0)
        return refuse(std::strerror(errno));
    return readEditableOfKind(info.st_mode, info.st_size, [&] { return readBytes(path); });
}

std::optional<std::string> KLTextFile::readEditable(int fd, const KLFileStamp& stamp)
{
    return readEditableOfKind(stamp.mode(), stamp.size(), [&] { return readAll(fd, stamp.size(), true); });
}

const std::string& KLTextFile::lastError()
{
    return g_lastError;
}

bool KLTextFile::write(const std::string& path, std::string_view text)
{
    return KLAtomicFile::write(path, text);
}
