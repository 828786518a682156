#include "KLPaneContext.h"

#include "KLLog.h"

namespace {
KLPaneContext* g_shared = nullptr;
}

KLPaneContext* KLPaneContext::shared()
{
    return g_shared;
}

void KLPaneContext::setShared(KLPaneContext* context)
{
    g_shared = context;
}

void KLPaneContext::reportFileNotWritten(const std::string& path, const std::string& reason)
{
    KLLog("Fendrel: " + path + " is left as it is: " + reason);
    if (g_shared)
        g_shared->fileNotWritten(path, reason);
}
