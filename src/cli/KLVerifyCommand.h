#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}
class KLCliSession;

// verify [FOLDER...]: asks the running web server, as a stranger on this
// machine, for each protected folder (the named ones, else every protected
// folder of the root), and says whether it answers as the folder's access
// file promises.
class KLVerifyCommand
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void run(KLCliSession& session, const std::vector<std::string>& folders);
};
