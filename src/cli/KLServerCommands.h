#pragma once

#include <string>

namespace CLI {
class App;
}
class KLCliSession;

// server status|start|stop|restart|graceful|configtest|logs|repair: the
// pane's web server tab, through KLApacheController and the privileged
// helper WebCheck, behind headless views.
class KLServerCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void run(KLCliSession& session, const std::string& command);
};
