// The web server's own answer beside every protected folder: the folder
// outline shows one image per verdict with its reason, the text field below
// it the reason for the selected folder.

#include "FendrelPref.h"

#include "KLApacheController.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLListView.h"
#include "KLRunLoop.h"
#include "KLTextField.h"

#include <cctype>

void FendrelPref::scheduleAccessCheck()
{
    // Many files change at once (a tree is read, a list is ticked): one check
    // after them all.
    if (!o_.accessCheckText || (accessCheckTimer_ && accessCheckTimer_->isValid()))
        return;
    accessCheckTimer_ = KLRunLoop::main().scheduleOnce(0, [this] { verifyAccess(nullptr); });
}

void FendrelPref::verifyAccess(void*)
{
    if (!o_.accessCheckText || !files_ || !files_->rootItem())
        return;
    if (!verifier_)
        verifier_ = std::make_unique<KLAccessVerifier>();
    KLFSItem& root = *files_->rootItem();
    std::vector<std::string> logs = apache_ ? apache_->logs() : std::vector<std::string>{};
    verifier_->verify(KLAccessVerifier::protectedItems(root), root, KLAccessVerifier::siteForRoot(root.fullPath()),
                      std::move(logs), [this](const KLAccessVerifier::Result& result) { showAccessChecks(result); });
}

void FendrelPref::showAccessChecks(const KLAccessVerifier::Result& result)
{
    std::map<std::string, KLAccessCheck> checks;
    // Without an answer there is nothing to show per folder: it is said once.
    if (result.serverAnswered)
        for (const KLAccessCheck& check : result.checks)
            checks[check.fullPath] = check;
    serverMessage_ = result.serverAnswered ? std::string() : result.serverMessage;
    if (files_)
        files_->setAccessChecks(std::move(checks));
    if (o_.webDirOutline)
        o_.webDirOutline->setNeedsDisplay();
    if (o_.accessCheckText)
        o_.accessCheckText->setStringValue(accessCheckText());
}

std::string FendrelPref::accessCheckText() const
{
    if (!serverMessage_.empty())
        return serverMessage_;
    const KLAccessCheck* check = fsItem_ && files_ ? files_->accessCheckFor(*fsItem_) : nullptr;
    if (!check)
        return "";
    std::string verdict = KLAccessCheck::verdictName(check->verdict);
    verdict[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(verdict[0])));
    return verdict + ": " + check->reason;
}
