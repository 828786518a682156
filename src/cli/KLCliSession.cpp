#include "KLCliSession.h"

#include "KLCliController.h"
#include "KLCliError.h"
#include "KLCredentialFilesCheck.h"
#include "KLFileExtensions.h"
#include "KLFolderPath.h"
#include "KLUserDefaults.h"

namespace {
constexpr const char* kNoSuchFolder = "No such folder: ";
constexpr const char* kLockSuffix = ".lock";
} // namespace

KLCliSession::KLCliSession() = default;

KLCliSession::~KLCliSession()
{
    // The controller goes before the locks are released, the root's first.
    controller_.reset();
    lock_.reset();
    settingsLock_.reset();
}

void KLCliSession::run()
{
    output.setJSON(options.json);
    if (action_)
        action_();
    if (controller_) {
        // A numbered error the controller showed in an alert fails the command.
        std::vector<std::string> failures = controller_->views().alerts.failures();
        if (!failures.empty())
            throw KLCliError(KLExitStatus::Failure, failures.front());
        if (credentialFiles_)
            credentialFiles_->verify(*controller_);
    }
    output.flush();
}

void KLCliSession::lockSettings()
{
    if (settingsLock_)
        return;
    std::string path = KLUserDefaults::standardUserDefaults().preferencesPath() + kLockSuffix;
    settingsLock_ = std::make_unique<KLFileLock>(path, KLFileLock::Mode::Exclusive, KLFileLock::Opening::Created);
}

KLCliController& KLCliSession::controller(KLFileLock::Mode mode, Scope scope)
{
    if (controller_)
        return *controller_;
    // Reading folders may discover addresses and store them: every run that
    // wakes the controller may change the settings.
    lockSettings();
    std::string root = options.root.empty() ? std::string() : KLFolderPath::absolutePath(options.root);
    auto controller = std::make_unique<KLCliController>(root, options.yes);
    std::string rootPath = controller->rootPath();
    bool rootNeeded = scope == Scope::Root || !options.root.empty();
    if (!isFolder(rootPath)) {
        if (rootNeeded)
            throw KLCliError(KLExitStatus::NotFound, kNoSuchFolder + rootPath);
    } else {
        lock_ = std::make_unique<KLFileLock>(rootPath, mode);
    }
    controller->wake();
    if (mode == KLFileLock::Mode::Exclusive)
        credentialFiles_ = std::make_unique<KLCredentialFilesCheck>(*controller);
    controller_ = std::move(controller);
    return *controller_;
}
