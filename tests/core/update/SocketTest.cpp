#include "KLAssert.h"
#include "KLSocketException.h"
#include "Socket.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <thread>

namespace {

// Runs the statement and returns the name and reason it raised.
template <class F>
std::pair<std::string, std::string> raised(F&& f)
{
    try {
        f();
    } catch (const KLSocketException& e) {
        EXPECT_EQ(std::string(e.what()), e.reason());
        return {e.name(), e.reason()};
    }
    return {"(nothing raised)", ""};
}

// A listener on the loopback and a free port.
std::unique_ptr<Socket> loopbackListener()
{
    auto listener = Socket::socket();
    listener->bindTo(INADDR_LOOPBACK, 0);
    listener->listen(5);
    return listener;
}

// A connected pair: client and the accepted server side.
struct Pair
{
    std::unique_ptr<Socket> listener = loopbackListener();
    std::unique_ptr<Socket> client = Socket::socket();
    std::unique_ptr<Socket> server;

    Pair()
    {
        client->connectToHostName("127.0.0.1", listener->localPort());
        server = listener->acceptConnectionAndKeepListening();
    }
};

// A port on the loopback on which nothing listens.
std::uint16_t closedPort()
{
    auto probe = loopbackListener();
    return probe->localPort();
}

TEST(SocketTest, ConnectSendAndReceiveBothWays)
{
    Pair pair;
    EXPECT_TRUE(pair.client->isConnected() && pair.listener->isListening());
    EXPECT_EQ(std::pair(pair.client->remoteHostName(), pair.client->remotePort()),
              std::pair(std::string("127.0.0.1"), pair.listener->localPort()));
    EXPECT_EQ(std::pair(pair.server->remoteHostName(), pair.server->remotePort()),
              std::pair(std::string("127.0.0.1"), pair.client->localPort()));

    EXPECT_EQ(std::pair(pair.server->isReadable(), pair.client->isWritable()), std::pair(false, true));
    pair.client->writeString("héllo\n");
    ASSERT_TRUE(pair.server->isReadableWithin(5));
    EXPECT_TRUE(pair.server->isReadable());
    std::string received = "kept:";
    EXPECT_EQ(pair.server->readData(&received), 7u);
    EXPECT_EQ(received, "kept:héllo\n");

    std::string big(100000, 'x');
    std::thread writer([&] { pair.server->writeData(big); });
    std::string back;
    while (back.size() < big.size() && pair.client->isReadableWithin(5))
        pair.client->readData(&back);
    writer.join();
    EXPECT_EQ(back, big);
}

TEST(SocketTest, ReadDataTellsClosedFromNotYetThere)
{
    Pair pair;
    pair.client->setBlocking(false);
    std::string buffer;
    EXPECT_EQ(pair.client->readData(&buffer), 0u);
    EXPECT_TRUE(pair.client->isConnected());
    pair.client->setBlocking(true);

    pair.server->writeString("bye");
    pair.server.reset(); // destruction closes the connection
    ASSERT_TRUE(pair.client->isReadableWithin(5));
    EXPECT_EQ(pair.client->readData(&buffer), 3u);
    EXPECT_EQ(pair.client->readData(&buffer), 0u);
    EXPECT_FALSE(pair.client->isConnected());
    EXPECT_EQ(std::tuple(pair.client->descriptor(), pair.client->remoteHostName(), pair.client->remotePort(), buffer),
              std::tuple(-1, std::string(), std::uint16_t{0}, std::string("bye")));
}

TEST(SocketTest, ReadBufferSizeLimitsOneReceive)
{
    Pair pair;
    in_addr address{};
    address.s_addr = htonl(0x0A010203);
    EXPECT_EQ(AbstractSocket::dottedIPFromAddress(address), "10.1.2.3");
    EXPECT_EQ(pair.server->readBufferSize(), 4096u);
    pair.server->setReadBufferSize(4);
    EXPECT_EQ(pair.server->readBufferSize(), 4u);
    pair.client->writeString("0123456789");
    ASSERT_TRUE(pair.server->isReadableWithin(5));
    std::string buffer;
    EXPECT_EQ(pair.server->readData(&buffer), 4u);
    EXPECT_EQ(buffer, "0123");
    EXPECT_THROW(pair.server->setReadBufferSize(0), KLInvalidParameter);
}

TEST(SocketTest, PreconditionsAreTestedInOrder)
{
    using Result = std::pair<std::string, std::string>;
    auto same = [](const char* text) { return Result{text, text}; };

    Socket fresh;
    std::string buffer;
    const std::pair<std::function<void()>, const char*> unconnected[] = {
        {[&] { fresh.isReadable(); }, "Socket: Not connected"},
        {[&] { fresh.isWritable(); }, "Socket: Not connected"},
        {[&] { fresh.writeData("x"); }, "Socket: Not connected"},
        {[&] { fresh.writeString("x"); }, "Socket: Not connected"},
        {[&] { fresh.readData(&buffer); }, "Socket: Not connected"},
        {[&] { fresh.acceptConnection(); }, "Socket: Not listening"},
        {[&] { fresh.acceptConnectionAndKeepListening(); }, "Socket: Not listening"}};
    for (const auto& [op, expected] : unconnected)
        EXPECT_EQ(raised(op), same(expected));
    // An empty text sends nothing and checks nothing.
    EXPECT_EQ(raised([&] { fresh.writeString(""); }).first, "(nothing raised)");

    Pair pair;
    EXPECT_EQ(raised([&] { pair.client->connectToHostName("127.0.0.1", pair.listener->localPort()); }),
              same("Socket: Already connected"));
    // Connected wins over not listening.
    EXPECT_EQ(raised([&] { pair.client->acceptConnection(); }), same("Socket: Already connected"));

    pair.client->close();
    pair.client->close();
    EXPECT_FALSE(pair.client->isConnected());
    for (auto op : std::vector<std::function<void()>>{
             [&] { pair.client->connectToHostName("127.0.0.1", 1); }, [&] { pair.client->acceptConnection(); },
             [&] { pair.client->isReadable(); }, [&] { pair.client->isWritable(); },
             [&] { pair.client->writeData("x"); }, [&] { pair.client->readData(&buffer); }})
        EXPECT_EQ(raised(op), same("Socket: Bad socket descriptor"));
    // The buffer is checked before anything else.
    EXPECT_EQ(raised([&] { pair.client->readData(nullptr); }), same("Socket: Invalid buffer"));
    EXPECT_EQ(raised([&] { pair.client->setBlocking(false); }),
              Result("Socket: Fcntl failed", "Socket: Fcntl failed: Bad file descriptor"));
}

TEST(SocketTest, AcceptConnectionTurnsTheListenerIntoTheConnection)
{
    auto listener = loopbackListener();
    std::uint16_t port = listener->localPort();
    Socket client;
    // A numeric short form: the client keeps the name it was given, the
    // accepting side sees the dotted address.
    client.connectToHostName("127.1", port);
    EXPECT_EQ(client.remoteHostName(), "127.1");
    listener->acceptConnection();
    EXPECT_EQ(std::pair(listener->isConnected(), listener->isListening()), std::pair(true, false));
    EXPECT_EQ(std::pair(listener->remoteHostName(), listener->remotePort()),
              std::pair(std::string("127.0.0.1"), client.localPort()));

    client.writeString("ping");
    ASSERT_TRUE(listener->isReadableWithin(5));
    std::string buffer;
    listener->readData(&buffer);
    EXPECT_EQ(buffer, "ping");

    // The listening descriptor is gone: nobody else can connect.
    Socket late;
    EXPECT_EQ(raised([&] { late.connectToHostName("127.0.0.1", port); }).first, "Socket: Connect failed");
}

TEST(SocketTest, KeepListeningServesSeveralPeers)
{
    auto listener = loopbackListener();
    std::vector<std::unique_ptr<Socket>> clients, peers;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(Socket::socket());
        clients.back()->connectToHostName("127.0.0.1", listener->localPort());
        peers.push_back(listener->acceptConnectionAndKeepListening());
        EXPECT_EQ(std::pair(listener->isListening(), listener->isConnected()), std::pair(true, false));
    }
    for (std::size_t i = 0; i < 3; ++i) {
        clients[i]->writeString(std::to_string(i));
        ASSERT_TRUE(peers[i]->isReadableWithin(5));
        std::string buffer;
        peers[i]->readData(&buffer);
        EXPECT_EQ(buffer, std::to_string(i));
    }
}

TEST(SocketTest, FailuresCarryTheSystemText)
{
    Socket refused;
    EXPECT_EQ(raised([&] { refused.connectToHostName("127.0.0.1", closedPort()); }),
              std::make_pair(std::string("Socket: Connect failed"),
                             std::string("Socket: Connect failed: Connection refused")));
    EXPECT_FALSE(refused.isConnected());

    // Dotted numbers that are no address: the resolver refuses them itself,
    // so no name server is asked.
    for (const char* host : {"300.300.300.300", "1.2.3.4.5", "999.0.0.1"}) {
        Socket unknown;
        auto [name, reason] = raised([&] { unknown.connectToHostName(host, 80); });
        EXPECT_EQ(name, "Socket: Host not found") << host;
        EXPECT_EQ(reason.rfind("Socket: Host not found: ", 0), 0u) << reason;
    }

    auto busy = loopbackListener();
    Socket second;
    EXPECT_EQ(raised([&] { second.bindTo(INADDR_LOOPBACK, busy->localPort()); }),
              std::make_pair(std::string("Socket: Bind failed"),
                             std::string("Socket: Bind failed: Address already in use")));
}

} // namespace
