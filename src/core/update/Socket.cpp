#include "Socket.h"

std::unique_ptr<Socket> Socket::socket()
{
    return std::make_unique<Socket>();
}

std::unique_ptr<Socket> Socket::acceptConnectionAndKeepListening()
{
    sockaddr_in peer{};
    int fd = acceptPeer(peer);
    return std::make_unique<Socket>(fd, peer);
}
