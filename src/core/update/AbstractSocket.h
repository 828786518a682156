#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>

// One IPv4 TCP stream socket: connect to a named host, or listen and accept;
// readiness tests without waiting, blocking mode, sending and receiving.
// Every failure raises KLSocketException. Used by one thread at a time.
// A closed socket cannot be used again: its descriptor is not recreated.
class AbstractSocket
{
public:
    static constexpr std::uint32_t kDefaultReadBufferSize = 4096;

    // A new, unconnected stream socket.
    AbstractSocket();
    // Wraps a descriptor accepted from the given peer; connected.
    AbstractSocket(int fd, const sockaddr_in& remoteAddress);
    virtual ~AbstractSocket();
    AbstractSocket(const AbstractSocket&) = delete;
    AbstractSocket& operator=(const AbstractSocket&) = delete;

    // Resolves the name (its first IPv4 address) and connects.
    void connectToHostName(const std::string& hostName, std::uint16_t port);
    // address in host order; sets SO_REUSEADDR first.
    void bindTo(std::uint32_t address, std::uint16_t port);
    // Binds to the any-address and listens.
    void listenOnPort(std::uint16_t port, std::uint32_t maxPendingConnections);
    void listenOnPort(std::uint16_t port);
    // Listens on the address given to bindTo() (e.g. the loopback only).
    void listen(std::uint32_t maxPendingConnections);
    // Waits for a peer, then closes the listening descriptor and becomes the
    // connection to that peer.
    void acceptConnection();

    // Readiness of this descriptor now, without waiting.
    bool isReadable();
    bool isWritable();
    // Readiness within the given time (0: now), for callers that must stay
    // responsive while they wait.
    bool isReadableWithin(double seconds);

    // true clears the non-blocking flag, false sets it.
    void setBlocking(bool blocking);

    // Sends every byte, looping over partial sends.
    void writeData(std::string_view data);
    // Sends the text's UTF-8 bytes; an empty text sends nothing, not even a
    // check of the connection.
    void writeString(const std::string& text);
    // One receive of at most readBufferSize() bytes, appended to buffer.
    // Returns the count; 0 either because the peer closed (the socket is then
    // closed and isConnected() false) or because a non-blocking socket has
    // nothing yet (still connected).
    std::uint32_t readData(std::string* buffer);

    void setReadBufferSize(std::uint32_t size);
    // Closes the descriptor; clears the connection state. Safe to repeat.
    void close();

    bool isConnected() const { return connected_; }
    bool isListening() const { return listening_; }
    std::uint32_t readBufferSize() const { return readBufferSize_; }
    const std::string& remoteHostName() const { return remoteHostName_; }
    std::uint16_t remotePort() const { return remotePort_; }
    int descriptor() const { return socketfd_; }
    // The port this socket is bound to (host order), e.g. after listening on
    // port 0; 0 when it has none.
    std::uint16_t localPort() const;

    static std::string dottedIPFromAddress(const in_addr& address);

protected:
    // The peer's descriptor and address, for the accepts.
    int acceptPeer(sockaddr_in& peer);
    void requireOpen() const;
    void requireUnconnected() const;
    void requireListening() const;
    void requireConnected() const;

    struct FreeBuffer
    {
        void operator()(char* p) const { std::free(p); }
    };

    bool connected_ = false;
    bool listening_ = false;
    std::unique_ptr<char, FreeBuffer> readBuffer_;
    std::uint32_t readBufferSize_ = 0;
    std::string remoteHostName_;
    std::uint16_t remotePort_ = 0;
    int socketfd_ = -1;
};
