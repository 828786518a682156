#include "KLSUController.h"

#include "KLBundle.h"
#include "KLDataExtensions.h"
#include "KLRunLoop.h"
#include "KLSocketException.h"
#include "Socket.h"

#include <mutex>
#include <set>
#include <unicode/ustring.h>

namespace {

// Lines end in a bare line feed; servers have always accepted it.
constexpr const char* kRequestFormat = "GET %s HTTP/1.0\nHOST: %s\nUser-Agent: %s/%s\n\n";
constexpr const char* kHostNotFound = "Socket: Host not found";
constexpr const char* kHostNotFoundError = "'%@' could not be found";
// How often a waiting request looks whether it has been abandoned.
constexpr double kAbandonPollSeconds = 0.05;

std::string request(const std::string& path, const std::string& host)
{
    std::string name = applicationName();
    std::string version = applicationVersion();
    int length = std::snprintf(nullptr, 0, kRequestFormat, path.c_str(), host.c_str(), name.c_str(), version.c_str());
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), kRequestFormat, path.c_str(), host.c_str(), name.c_str(), version.c_str());
    text.pop_back();
    return text;
}

bool isValidUTF8(const std::string& bytes)
{
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8(nullptr, 0, &length, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    return status == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(status);
}

void postSegment(const std::string& path, std::uint32_t bytes)
{
    KLRunLoop::main().post([path, bytes] {
        KLNotificationCenter::defaultCenter().post(KLSUController::kSegmentDownloaded,
                                                   KLSUController::segmentObject(path),
                                                   KLPlist::Dictionary{{KLSUController::kBytesKey, bytes}});
    });
}

} // namespace

const void* KLSUController::segmentObject(const std::string& path)
{
    static std::mutex mutex;
    static std::set<std::string> paths;
    std::lock_guard lock(mutex);
    return &*paths.insert(path).first;
}

std::optional<std::string> KLSUController::getHTTPFile(const KLUpdateServer& server, const std::string& path,
                                                       std::string& error, const std::function<bool()>& abandoned,
                                                       std::optional<std::size_t> maxBytes)
{
    try {
        std::unique_ptr<Socket> socket = Socket::socket();
        socket->connectToHostName(server.host, server.port);
        socket->writeString(request(path, server.host));
        std::string reply;
        while (socket->isConnected()) {
            if (abandoned && abandoned())
                return std::nullopt;
            if (!socket->isReadableWithin(kAbandonPollSeconds))
                continue;
            if (std::uint32_t count = socket->readData(&reply))
                postSegment(path, count);
            if (maxBytes && reply.size() > *maxBytes)
                return std::nullopt;
        }
        socket->close();
        return reply;
    } catch (const KLSocketException& e) {
        if (e.name().find(kHostNotFound) != std::string::npos) {
            std::string text = kHostNotFoundError;
            error = text.replace(text.find("%@"), 2, server.host);
        }
        return std::nullopt;
    }
}

std::optional<KLPlist> KLSUController::parseReply(std::string rawReply)
{
    stripHeaders(rawReply);
    if (!isValidUTF8(rawReply))
        return std::nullopt;
    return KLPlist::fromXML(rawReply);
}
