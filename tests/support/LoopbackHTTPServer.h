#pragma once

#include "Socket.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// An HTTP/1.0 server on 127.0.0.1 and a free port, built on our own Socket,
// answering one connection at a time on its own thread. The handler gets
// the connection and the request (up to its blank line) and writes the
// reply; the connection is closed after it returns.
class LoopbackHTTPServer {
public:
    using Handler = std::function<void(Socket& connection, const std::string& request)>;

    explicit LoopbackHTTPServer(Handler handler);
    ~LoopbackHTTPServer();

    std::uint16_t port() const { return port_; }
    // The "Update Server" setting that reaches this server.
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    std::vector<std::string> requests() const;
    // Set when the server is being stopped; slow handlers give up on it.
    bool stopping() const { return stopping_; }
    // Sleeps up to the given time, less when the server stops.
    void pause(double seconds) const;

    // "HTTP/1.0 200 OK" with a text/xml header block and the body.
    static std::string reply(const std::string& body);
    // Serves the bodies by request path; 404 for any other path.
    static Handler serving(std::map<std::string, std::string> bodies);
    // The path of a request line "GET <path> HTTP/1.0".
    static std::string requestPath(const std::string& request);

private:
    void run();

    Handler handler_;
    Socket listener_;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};
