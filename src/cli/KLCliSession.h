#pragma once

#include "KLCliOptions.h"
#include "KLCliOutput.h"
#include "KLFileLock.h"

#include <functional>
#include <memory>

class KLCliController;
class KLCredentialFilesCheck;

// One run of fendrelctl: its global options, its output, the command chosen
// on the command line (run once parsing is complete) and, for commands that
// need it, the pane's controller.
class KLCliSession
{
public:
    KLCliSession();
    ~KLCliSession();

    KLCliOptions options;
    KLCliOutput output;

    void setAction(std::function<void()> action) { action_ = std::move(action); }
    void run();

    // What a command needs of the protected folder root: its tree and its
    // users and groups files, or only the settings (the known addresses).
    enum class Scope { Root, SettingsOnly };

    // The controller, awake over headless views, for a command that reads
    // (Shared) or changes (Exclusive) the protected folder tree and its users
    // and groups files. The settings are locked first, then the root folder;
    // both stay locked until the run ends, so another fendrelctl that changes
    // the same files waits for this one's whole read-modify-write. With
    // SettingsOnly, a stored root that does not exist is no error: it is
    // neither read nor locked.
    KLCliController& controller(KLFileLock::Mode mode, Scope scope = Scope::Root);

    // The settings file is rewritten whole, and its known addresses are
    // shared by every root: a run that may change a setting holds this
    // exclusive lock from before it reads them until it ends. Always taken
    // before the root's lock, so two runs never wait for each other in turn.
    void lockSettings();

private:
    std::function<void()> action_;
    std::unique_ptr<KLFileLock> settingsLock_;
    std::unique_ptr<KLFileLock> lock_;
    std::unique_ptr<KLCliController> controller_;
    std::unique_ptr<KLCredentialFilesCheck> credentialFiles_;
};
