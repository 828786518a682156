#pragma once

#include "AbstractSocket.h"

#include <memory>

// The socket in use: a convenience constructor and an accept that leaves
// the listening socket listening.
class Socket : public AbstractSocket
{
public:
    using AbstractSocket::AbstractSocket;

    static std::unique_ptr<Socket> socket();
    // A new socket connected to the next peer; this one keeps listening.
    std::unique_ptr<Socket> acceptConnectionAndKeepListening();
};
