#pragma once

#include <string>

namespace CLI {
class App;
}
class KLCliSession;

// user list|add|passwd|delete: the pane's user sheet and delete button,
// with the password typed twice on a terminal or read from standard input.
class KLUserCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void list(KLCliSession& session);
    // hash: "des" or "bcrypt" for this run, empty for the stored choice.
    static void add(KLCliSession& session, const std::string& name, const std::string& hash);
    static void passwd(KLCliSession& session, const std::string& name, const std::string& hash);
    static void remove(KLCliSession& session, const std::string& name);
};
