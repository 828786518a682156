#include "KLAssert.h"
#include "KLSocketException.h"
#include "Socket.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

namespace {

using Raised = std::pair<std::string, std::string>;

Raised raised(const std::function<void()>& f)
{
    try {
        f();
    } catch (const KLSocketException& e) {
        EXPECT_EQ(std::string(e.what()), e.reason());
        return {e.name(), e.reason()};
    }
    return {"(nothing raised)", ""};
}

Raised same(const char* text) { return {text, text}; }

std::unique_ptr<Socket> loopbackListener()
{
    auto listener = Socket::socket();
    listener->bindTo(INADDR_LOOPBACK, 0);
    listener->listen(5);
    return listener;
}

// What arrives on a connection within five seconds, up to the given size.
std::string receive(Socket& socket, std::size_t size)
{
    std::string received;
    while (received.size() < size && socket.isReadableWithin(5))
        socket.readData(&received);
    return received;
}

// A client connected to a listener, and the accepted server side.
struct Pair
{
    std::unique_ptr<Socket> listener = loopbackListener(), client = Socket::socket(), server;
    Pair()
    {
        client->connectToHostName("127.0.0.1", listener->localPort());
        server = listener->acceptConnectionAndKeepListening();
    }
};

TEST(SocketTest, ConnectSendReceiveAndAccept)
{
    Pair pair;
    EXPECT_TRUE(pair.client->isConnected() && pair.listener->isListening());
    EXPECT_EQ(std::pair(pair.client->remoteHostName(), pair.client->remotePort()),
              std::pair(std::string("127.0.0.1"), pair.listener->localPort()));
    EXPECT_EQ(std::pair(pair.server->isReadable(), pair.client->isWritable()), std::pair(false, true));
    pair.client->writeString("héllo\n");
    ASSERT_TRUE(pair.server->isReadableWithin(5));
    EXPECT_TRUE(pair.server->isReadable());
    std::string received = "kept:";
    EXPECT_EQ(pair.server->readData(&received), 7u);
    EXPECT_EQ(received, "kept:héllo\n");
    // A read buffer size limits one receive.
    pair.server->setReadBufferSize(4);
    pair.client->writeString("0123456789");
    ASSERT_TRUE(pair.server->isReadableWithin(5));
    std::string buffer;
    EXPECT_EQ(pair.server->readData(&buffer), 4u);
    EXPECT_EQ(buffer, "0123");
    EXPECT_THROW(pair.server->setReadBufferSize(0), KLInvalidParameter);
    // Accepting without keeping on turns the listener into the connection.
    auto listener = loopbackListener();
    std::uint16_t port = listener->localPort();
    // A numeric short form: the client keeps its name, the accepting side sees the dotted address.
    Socket client;
    client.connectToHostName("127.1", port);
    EXPECT_EQ(client.remoteHostName(), "127.1");
    listener->acceptConnection();
    EXPECT_EQ(std::pair(listener->isConnected(), listener->isListening()), std::pair(true, false));
    EXPECT_EQ(std::pair(listener->remoteHostName(), listener->remotePort()),
              std::pair(std::string("127.0.0.1"), client.localPort()));
    client.writeString("ping");
    EXPECT_EQ(receive(*listener, 4), "ping");
    // The listening descriptor is gone: nobody else can connect.
    Socket late;
    EXPECT_EQ(raised([&] { late.connectToHostName("127.0.0.1", port); }),
              Raised("Socket: Connect failed", "Socket: Connect failed: Connection refused"));
    EXPECT_FALSE(late.isConnected());
}

TEST(SocketTest, PreconditionsAreTestedInOrderAndFailuresCarryTheSystemText)
{
    Socket fresh;
    std::string buffer;
    Pair pair;
    // Connected wins over not listening.
    const char *notConnected = "Socket: Not connected", *notListening = "Socket: Not listening";
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { fresh.isReadable(); }, notConnected}, {[&] { fresh.isWritable(); }, notConnected},
        {[&] { fresh.writeData("x"); }, notConnected}, {[&] { fresh.writeString("x"); }, notConnected},
        {[&] { fresh.readData(&buffer); }, notConnected}, {[&] { fresh.acceptConnection(); }, notListening},
        {[&] { fresh.acceptConnectionAndKeepListening(); }, notListening},
        {[&] { pair.client->connectToHostName("127.0.0.1", pair.listener->localPort()); }, "Socket: Already connected"},
        {[&] { pair.client->acceptConnection(); }, "Socket: Already connected"}};
    for (const auto& [op, expected] : cases)
        EXPECT_EQ(raised(op), same(expected));

    pair.client->close();
    pair.client->close();
    EXPECT_FALSE(pair.client->isConnected());
    for (auto op : std::vector<std::function<void()>>{[&] { pair.client->connectToHostName("127.0.0.1", 1); },
                                                      [&] { pair.client->writeData("x"); },
                                                      [&] { pair.client->readData(&buffer); }})
        EXPECT_EQ(raised(op), same("Socket: Bad socket descriptor"));
    // The buffer is checked before anything else.
    EXPECT_EQ(raised([&] { pair.client->readData(nullptr); }), same("Socket: Invalid buffer"));
    EXPECT_EQ(raised([&] { pair.client->setBlocking(false); }),
              Raised("Socket: Fcntl failed", "Socket: Fcntl failed: Bad file descriptor"));
    // Dotted numbers that are no address: the resolver refuses them without asking a name server.
    Socket unknown;
    auto [name, reason] = raised([&] { unknown.connectToHostName("1.2.3.4.5", 80); });
    EXPECT_EQ(name, "Socket: Host not found");
    EXPECT_EQ(reason.rfind("Socket: Host not found: ", 0), 0u) << reason;
    Socket second;
    EXPECT_EQ(raised([&] { second.bindTo(INADDR_LOOPBACK, pair.listener->localPort()); }),
              Raised("Socket: Bind failed", "Socket: Bind failed: Address already in use"));
    // Reading tells a closed connection from data not there yet.
    Pair open;
    open.client->setBlocking(false);
    buffer.clear();
    EXPECT_EQ(open.client->readData(&buffer), 0u);
    EXPECT_TRUE(open.client->isConnected());
    open.client->setBlocking(true);
    open.server->writeString("bye");
    open.server.reset(); // destruction closes the connection
    ASSERT_TRUE(open.client->isReadableWithin(5));
    EXPECT_EQ(open.client->readData(&buffer), 3u);
    EXPECT_EQ(open.client->readData(&buffer), 0u);
    EXPECT_FALSE(open.client->isConnected());
    EXPECT_EQ(std::tuple(open.client->descriptor(), open.client->remoteHostName(), open.client->remotePort(), buffer),
              std::tuple(-1, std::string(), std::uint16_t{0}, std::string("bye")));
}

} // namespace
