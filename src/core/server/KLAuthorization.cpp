#include "KLAuthorization.h"

#include "KLBundle.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

void putLittleEndian(KLAuthorization::ExternalForm& form, std::size_t offset, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = 0; i < width; ++i)
        form[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// Runs a program with its output on the null device; its exit status, or -1.
int runQuietly(const std::vector<std::string>& argv)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = -1;
    int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return -1;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

const std::string& KLAuthorization::webcheckRight()
{
    static const std::string right = std::string(KLBundle::kIdentifier) + ".webcheck";
    return right;
}

const std::string& KLAuthorization::apachectlRight()
{
    static const std::string right = std::string(KLBundle::kIdentifier) + ".apachectl";
    return right;
}

KLAuthorization::KLAuthorization(std::string pkcheckPath) : pkcheckPath_(std::move(pkcheckPath)) {}

bool KLAuthorization::obtainRights(bool allowUserInteraction)
{
    holdsRights_ = ::geteuid() == 0 ||
                   (checkRight(webcheckRight(), allowUserInteraction) &&
                    checkRight(apachectlRight(), allowUserInteraction));
    if (!holdsRights_ && allowUserInteraction)
        releaseRights();
    return holdsRights_;
}

void KLAuthorization::releaseRights()
{
    holdsRights_ = false;
    runQuietly({pkcheckPath_, "--revoke-temp"});
}

bool KLAuthorization::checkRight(const std::string& right, bool allowUserInteraction) const
{
    auto start = processStartTime(::getpid());
    if (!start)
        return false;
    std::string subject = std::to_string(::getpid()) + "," + std::to_string(*start) + "," + std::to_string(::getuid());
    std::vector<std::string> argv{pkcheckPath_, "--action-id", right, "--process", subject};
    if (allowUserInteraction)
        argv.push_back("--allow-user-interaction");
    return runQuietly(argv) == 0;
}

std::optional<KLAuthorization::ExternalForm> KLAuthorization::makeExternalForm()
{
    auto start = processStartTime(::getpid());
    if (!start)
        return std::nullopt;
    ExternalForm form{};
    std::memcpy(form.data(), "FNDR", 4);
    putLittleEndian(form, 4, kExternalFormVersion, 4);
    putLittleEndian(form, 8, static_cast<std::uint32_t>(::getpid()), 4);
    putLittleEndian(form, 12, ::getuid(), 4);
    putLittleEndian(form, 16, *start, 8);
    if (::getrandom(form.data() + 24, 8, 0) != 8)
        return std::nullopt;
    return form;
}

std::optional<std::uint64_t> KLAuthorization::processStartTime(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(in, line))
        return std::nullopt;
    // The command name (field 2) may hold spaces and parentheses: count
    // fields from the last ')'.
    std::size_t close = line.rfind(')');
    if (close == std::string::npos)
        return std::nullopt;
    std::istringstream fields(line.substr(close + 1));
    std::string field;
    for (int number = 3; fields >> field; ++number) {
        if (number == 22) {
            try {
                std::size_t used = 0;
                std::uint64_t value = std::stoull(field, &used);
                return used == field.size() ? std::optional(value) : std::nullopt;
            } catch (const std::exception&) {
                return std::nullopt;
            }
        }
    }
    return std::nullopt;
}
