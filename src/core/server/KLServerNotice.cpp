#include "KLServerNotice.h"

KLServerNotice KLServerNotice::forServer(bool installed, bool running, bool ignoresAccessFiles)
{
    if (!installed)
        return {"Apache is not installed, so no folder is published. Install the package apache2 "
                "(sudo apt install apache2), then open Fendrel again.",
                Action::None, ""};
    // A stopped server is started first: the repair restarts a running one.
    if (!running)
        return {"Apache is stopped: no folder is published until it runs.", Action::StartApache, "Start Apache"};
    if (ignoresAccessFiles)
        return {"Apache ignores the access files: protected folders are open to everyone until "
                "the configuration is repaired.",
                Action::RepairConfiguration, "Repair Configuration"};
    return {};
}
