#include "LoopbackHTTPServer.h"

#include <arpa/inet.h>
#include <chrono>
#include <poll.h>

namespace {
constexpr int kPollMilliseconds = 20;
constexpr double kRequestTimeoutSeconds = 10;
} // namespace

LoopbackHTTPServer::LoopbackHTTPServer(Handler handler) : handler_(std::move(handler))
{
    listener_.bindTo(INADDR_LOOPBACK, 0);
    listener_.listen(5);
    port_ = listener_.localPort();
    thread_ = std::thread([this] { run(); });
}

LoopbackHTTPServer::~LoopbackHTTPServer() { stopping_ = true, thread_.join(); }

std::vector<std::string> LoopbackHTTPServer::requests() const
{
    std::lock_guard lock(mutex_);
    return requests_;
}

void LoopbackHTTPServer::pause(double seconds) const
{
    auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!stopping_ && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
}

void LoopbackHTTPServer::run()
{
    while (!stopping_) {
        pollfd entry{listener_.descriptor(), POLLIN, 0};
        if (::poll(&entry, 1, kPollMilliseconds) <= 0)
            continue;
        std::unique_ptr<Socket> connection = listener_.acceptConnectionAndKeepListening();
        std::string request;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kRequestTimeoutSeconds);
        while (request.find("\n\n") == std::string::npos && request.find("\r\n\r\n") == std::string::npos &&
               connection->isConnected() && !stopping_ &&
               std::chrono::steady_clock::now() < deadline) {
            if (connection->isReadableWithin(kPollMilliseconds / 1000.0))
                connection->readData(&request);
        }
        std::unique_lock lock(mutex_);
        requests_.push_back(request);
        lock.unlock();
        try {
            if (connection->isConnected())
                handler_(*connection, request);
        } catch (const std::exception&) {
            // The client went away; the next connection is served as usual.
        }
    }
}

std::string LoopbackHTTPServer::reply(const std::string& body)
{
    return "HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

LoopbackHTTPServer::Handler LoopbackHTTPServer::serving(std::map<std::string, std::string> bodies)
{
    return [bodies = std::move(bodies)](Socket& connection, const std::string& request) {
        auto found = bodies.find(requestPath(request));
        connection.writeString(found == bodies.end() ? "HTTP/1.0 404 Not Found\r\n\r\n" : reply(found->second));
    };
}

std::string LoopbackHTTPServer::requestPath(const std::string& request)
{
    std::size_t start = request.find(' ');
    if (start == std::string::npos)
        return {};
    std::size_t end = request.find(' ', start + 1);
    return request.substr(start + 1, end == std::string::npos ? std::string::npos : end - start - 1);
}
