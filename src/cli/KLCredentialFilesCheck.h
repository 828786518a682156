#pragma once

#include <optional>
#include <string>

class KLCliController;

// The pane writes the users and groups files without telling its callers
// whether the write worked (a name the file cannot hold, a file it could not
// read, a full disk). A command must not report a change that is not on
// disk: this notes what the controller holds when a changing command starts,
// and afterwards checks each file whose content the command changed.
class KLCredentialFilesCheck
{
public:
    explicit KLCredentialFilesCheck(const KLCliController& controller);

    // Throws KLCliError (failure) naming the first file that does not hold
    // what the controller now holds for it.
    void verify(const KLCliController& controller) const;

private:
    static std::optional<std::string> usersText(const KLCliController& controller);
    static std::optional<std::string> groupsText(const KLCliController& controller);
    static void requireOnDisk(const std::optional<std::string>& path, const std::string& text, const char* message);

    std::optional<std::string> users_;
    std::optional<std::string> groups_;
};
