#include "KLCliSession.h"

#include "KLCliController.h"
#include "KLCliError.h"
#include "KLFileExtensions.h"
#include "KLFolderPath.h"

namespace {
constexpr const char* kNoSuchFolder = "No such folder: ";
}

KLCliSession::KLCliSession() = default;

KLCliSession::~KLCliSession()
{
    // The controller goes before the lock is released.
    controller_.reset();
    lock_.reset();
}

void KLCliSession::run()
{
    output.setJSON(options.json);
    if (action_)
        action_();
    // A numbered error the controller showed in an alert fails the command.
    if (controller_) {
        std::vector<std::string> failures = controller_->views().alerts.failures();
        if (!failures.empty())
            throw KLCliError(KLExitStatus::Failure, failures.front());
    }
    output.flush();
}

KLCliController& KLCliSession::controller(KLFileLock::Mode mode)
{
    if (controller_)
        return *controller_;
    std::string root = options.root.empty() ? std::string() : KLFolderPath::absolutePath(options.root);
    auto controller = std::make_unique<KLCliController>(root, options.yes);
    std::string rootPath = controller->rootPath();
    if (!isFolder(rootPath))
        throw KLCliError(KLExitStatus::NotFound, kNoSuchFolder + rootPath);
    lock_ = std::make_unique<KLFileLock>(rootPath, mode);
    controller->wake();
    controller_ = std::move(controller);
    return *controller_;
}
