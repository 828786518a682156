#include "AbstractSocket.h"

#include "KLAssert.h"
#include "KLSocketException.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr const char* kCantCreateSocket = "Socket: Can't create socket";
constexpr const char* kMallocFailed = "Socket: Malloc failed";
constexpr const char* kHostNotFound = "Socket: Host not found";
constexpr const char* kConnectFailed = "Socket: Connect failed";
constexpr const char* kSetsockoptFailed = "Socket: Setsockopt failed";
constexpr const char* kBindFailed = "Socket: Bind failed";
constexpr const char* kListenFailed = "Socket: Listen failed";
constexpr const char* kAcceptFailed = "Socket: Accept failed";
constexpr const char* kSelectFailed = "Socket: Select failed";
constexpr const char* kFcntlFailed = "Socket: Fcntl failed";
constexpr const char* kSendFailed = "Socket: Send failed";
constexpr const char* kRecvFailed = "Socket: Recv failed";
constexpr const char* kBadDescriptor = "Socket: Bad socket descriptor";
constexpr const char* kAlreadyConnected = "Socket: Already connected";
constexpr const char* kNotListening = "Socket: Not listening";
constexpr const char* kNotConnected = "Socket: Not connected";
constexpr const char* kInvalidBuffer = "Socket: Invalid buffer";

constexpr std::uint32_t kDefaultBacklog = 5;

// Names under the reserved top-level domain "invalid" never resolve; they
// are answered here so that looking one up never reaches a name server.
bool isReservedInvalidName(std::string name)
{
    while (!name.empty() && name.back() == '.')
        name.pop_back();
    constexpr std::string_view tld = "invalid";
    if (name.size() < tld.size() || strcasecmp(name.c_str() + name.size() - tld.size(), tld.data()) != 0)
        return false;
    return name.size() == tld.size() || name[name.size() - tld.size() - 1] == '.';
}

in_addr resolveIPv4(const std::string& hostName)
{
    if (isReservedInvalidName(hostName))
        throw KLSocketException::withError(kHostNotFound, ENOENT);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    errno = 0;
    if (::getaddrinfo(hostName.c_str(), nullptr, &hints, &found) != 0 || !found)
        throw KLSocketException::withError(kHostNotFound, errno);
    in_addr address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
    ::freeaddrinfo(found);
    return address;
}

} // namespace

AbstractSocket::AbstractSocket()
{
    // Close-on-exec: the helper programs the pane starts must not inherit it.
    socketfd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socketfd_ < 0)
        throw KLSocketException::withError(kCantCreateSocket, errno);
    try {
        setReadBufferSize(kDefaultReadBufferSize);
    } catch (...) {
        ::close(socketfd_);
        throw;
    }
}

AbstractSocket::AbstractSocket(int fd, const sockaddr_in& remoteAddress) : socketfd_(fd)
{
    try {
        setReadBufferSize(kDefaultReadBufferSize);
    } catch (...) {
        ::close(socketfd_);
        throw;
    }
    connected_ = true;
    remoteHostName_ = dottedIPFromAddress(remoteAddress.sin_addr);
    remotePort_ = ntohs(remoteAddress.sin_port);
}

AbstractSocket::~AbstractSocket()
{
    close();
}

void AbstractSocket::requireOpen() const
{
    if (socketfd_ == -1)
        throw KLSocketException(kBadDescriptor);
}

void AbstractSocket::requireUnconnected() const
{
    if (connected_)
        throw KLSocketException(kAlreadyConnected);
}

void AbstractSocket::requireListening() const
{
    if (!listening_)
        throw KLSocketException(kNotListening);
}

void AbstractSocket::requireConnected() const
{
    if (!connected_)
        throw KLSocketException(kNotConnected);
}

void AbstractSocket::connectToHostName(const std::string& hostName, std::uint16_t port)
{
    requireOpen();
    requireUnconnected();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr = resolveIPv4(hostName);
    if (::connect(socketfd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0)
        throw KLSocketException::withError(kConnectFailed, errno);
    remoteHostName_ = hostName;
    remotePort_ = port;
    connected_ = true;
}

void AbstractSocket::bindTo(std::uint32_t address, std::uint16_t port)
{
    int reuse = 1;
    if (::setsockopt(socketfd_, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse) < 0)
        throw KLSocketException::withError(kSetsockoptFailed, errno);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr.s_addr = htonl(address);
    if (::bind(socketfd_, reinterpret_cast<const sockaddr*>(&local), sizeof local) < 0)
        throw KLSocketException::withError(kBindFailed, errno);
}

void AbstractSocket::listenOnPort(std::uint16_t port, std::uint32_t maxPendingConnections)
{
    bindTo(INADDR_ANY, port);
    listen(maxPendingConnections);
}

void AbstractSocket::listen(std::uint32_t maxPendingConnections)
{
    if (::listen(socketfd_, static_cast<int>(std::min<std::uint32_t>(maxPendingConnections, SOMAXCONN))) < 0)
        throw KLSocketException::withError(kListenFailed, errno);
    listening_ = true;
}

void AbstractSocket::listenOnPort(std::uint16_t port)
{
    listenOnPort(port, kDefaultBacklog);
}

int AbstractSocket::acceptPeer(sockaddr_in& peer)
{
    requireOpen();
    requireUnconnected();
    requireListening();
    for (;;) {
        socklen_t length = sizeof peer;
        int fd = ::accept4(socketfd_, reinterpret_cast<sockaddr*>(&peer), &length, SOCK_CLOEXEC);
        if (fd >= 0)
            return fd;
        if (errno != EINTR)
            throw KLSocketException::withError(kAcceptFailed, errno);
    }
}

void AbstractSocket::acceptConnection()
{
    sockaddr_in peer{};
    int fd = acceptPeer(peer);
    ::close(socketfd_);
    socketfd_ = fd;
    remotePort_ = ntohs(peer.sin_port);
    remoteHostName_ = dottedIPFromAddress(peer.sin_addr);
    connected_ = true;
    listening_ = false;
}

bool AbstractSocket::isReadable()
{
    return isReadableWithin(0);
}

bool AbstractSocket::isReadableWithin(double seconds)
{
    requireOpen();
    requireConnected();
    pollfd entry{socketfd_, POLLIN, 0};
    int result = ::poll(&entry, 1, static_cast<int>(std::ceil(std::max(0.0, seconds) * 1000)));
    if (result < 0) {
        if (errno == EINTR)
            return false;
        throw KLSocketException::withError(kSelectFailed, errno);
    }
    // A closed or failed peer counts as readable: the next receive tells.
    return result > 0 && (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

bool AbstractSocket::isWritable()
{
    requireOpen();
    requireConnected();
    pollfd entry{socketfd_, POLLOUT, 0};
    int result = ::poll(&entry, 1, 0);
    if (result < 0) {
        if (errno == EINTR)
            return false;
        throw KLSocketException::withError(kSelectFailed, errno);
    }
    return result > 0 && (entry.revents & (POLLOUT | POLLERR | POLLHUP)) != 0;
}

void AbstractSocket::setBlocking(bool blocking)
{
    int flags = ::fcntl(socketfd_, F_GETFL);
    if (flags < 0)
        throw KLSocketException::withError(kFcntlFailed, errno);
    flags = blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK);
    if (::fcntl(socketfd_, F_SETFL, flags) < 0)
        throw KLSocketException::withError(kFcntlFailed, errno);
}

void AbstractSocket::writeData(std::string_view data)
{
    requireOpen();
    requireConnected();
    while (!data.empty()) {
        // MSG_NOSIGNAL: a peer that has gone raises here, not SIGPIPE.
        ssize_t sent = ::send(socketfd_, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR)
                continue;
            throw KLSocketException::withError(kSendFailed, errno);
        }
        data.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void AbstractSocket::writeString(const std::string& text)
{
    if (!text.empty())
        writeData(text);
}

std::uint32_t AbstractSocket::readData(std::string* buffer)
{
    if (!buffer)
        throw KLSocketException(kInvalidBuffer);
    requireOpen();
    requireConnected();
    ssize_t received;
    do {
        received = ::recv(socketfd_, readBuffer_.get(), readBufferSize_, 0);
    } while (received < 0 && errno == EINTR);
    if (received > 0) {
        buffer->append(readBuffer_.get(), static_cast<std::size_t>(received));
        return static_cast<std::uint32_t>(received);
    }
    if (received == 0) {
        close();
        return 0;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        return 0;
    throw KLSocketException::withError(kRecvFailed, errno);
}

void AbstractSocket::setReadBufferSize(std::uint32_t size)
{
    KL_PARAMETER_ASSERT(size > 0);
    readBuffer_.reset();
    readBufferSize_ = 0;
    readBuffer_.reset(static_cast<char*>(std::malloc(size)));
    if (!readBuffer_)
        throw KLSocketException(kMallocFailed);
    readBufferSize_ = size;
}

void AbstractSocket::close()
{
    if (socketfd_ != -1) {
        ::close(socketfd_);
        socketfd_ = -1;
    }
    remoteHostName_.clear();
    connected_ = false;
    listening_ = false;
    remotePort_ = 0;
}

std::uint16_t AbstractSocket::localPort() const
{
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (socketfd_ == -1 || ::getsockname(socketfd_, reinterpret_cast<sockaddr*>(&local), &length) < 0)
        return 0;
    return ntohs(local.sin_port);
}

std::string AbstractSocket::dottedIPFromAddress(const in_addr& address)
{
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}
