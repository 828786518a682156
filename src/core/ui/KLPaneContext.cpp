#include "KLPaneContext.h"

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
