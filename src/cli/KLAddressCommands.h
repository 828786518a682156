#pragma once

#include <string>

namespace CLI {
class App;
}
class KLCliSession;

// address list|add|remove: the known client addresses of the address table.
class KLAddressCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void list(KLCliSession& session);
    static void add(KLCliSession& session, const std::string& address);
    static void remove(KLCliSession& session, const std::string& address);
};
