#include "KLCliSession.h"

void KLCliSession::run()
{
    output.setJSON(options.json);
    if (action_)
        action_();
}
