#pragma once

namespace CLI {
class App;
}
class KLCliController;
class KLCliSession;
struct KLAlert;

// update check: the Options tab's Check Now, through the pane's controller
// and its update controller, against the "Update Server" setting. The
// outcome is what the pane would show: the update panel for a newer version,
// otherwise the controller's alert.
class KLUpdateCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void check(KLCliSession& session, double timeoutSeconds);
    static void printNewer(KLCliSession& session, KLCliController& controller);
    static void printAlert(KLCliSession& session, KLCliController& controller, const KLAlert& alert);
};
