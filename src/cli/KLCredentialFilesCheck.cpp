#include "KLCredentialFilesCheck.h"

#include "KLCliController.h"
#include "KLCliError.h"
#include "KLFileExtensions.h"
#include "KLGroupsDataSource.h"
#include "KLTextFile.h"
#include "KLUsersDataSource.h"

namespace {
constexpr const char* kUsersNotWritten = "The users file %s could not be written";
constexpr const char* kGroupsNotWritten = "The groups file %s could not be written";
} // namespace

KLCredentialFilesCheck::KLCredentialFilesCheck(const KLCliController& controller)
    : users_(usersText(controller)), groups_(groupsText(controller))
{
}

std::optional<std::string> KLCredentialFilesCheck::usersText(const KLCliController& controller)
{
    if (const KLUsersDataSource* users = controller.users())
        return KLUsersDataSource::userfileText(users->records());
    return std::nullopt;
}

std::optional<std::string> KLCredentialFilesCheck::groupsText(const KLCliController& controller)
{
    if (const KLGroupsDataSource* groups = controller.groups())
        return KLGroupsDataSource::groupfileText(*groups->root());
    return std::nullopt;
}

void KLCredentialFilesCheck::verify(const KLCliController& controller) const
{
    std::optional<std::string> users = usersText(controller);
    if (users && users != users_)
        requireOnDisk(controller.fendrelLocation(KLPaneContext::kUsersFile), *users, kUsersNotWritten);
    std::optional<std::string> groups = groupsText(controller);
    if (groups && groups != groups_)
        requireOnDisk(controller.fendrelLocation(KLPaneContext::kGroupsFile), *groups, kGroupsNotWritten);
}

void KLCredentialFilesCheck::requireOnDisk(const std::optional<std::string>& path, const std::string& text,
                                           const char* message)
{
    std::string shown = path.value_or(std::string());
    if (path) {
        std::optional<std::string> stored = KLTextFile::readBytes(*path);
        // A file never written holds nothing.
        if (stored ? *stored == text : text.empty() && !fileExists(*path))
            return;
    }
    std::string line(message);
    throw KLCliError(KLExitStatus::Failure, line.replace(line.find("%s"), 2, shown));
}
