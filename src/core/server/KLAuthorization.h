#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

// The rights this process holds to run the privileged helper WebCheck, as
// polkit sees them: "com.quillmoor.fendrel.webcheck" (replace a configuration
// file) and "com.quillmoor.fendrel.apachectl" (control the server), both
// declared auth_admin_keep in resources/com.quillmoor.fendrel.policy.
// A process running as root holds both.
//
// The external form is what WebCheck reads on its standard input: 32 bytes,
// little-endian: "FNDR", version 1, pid, uid, start time in clock ticks since
// boot (field 22 of /proc/<pid>/stat), 8 random bytes. WebCheck accepts it
// only from its parent process and asks polkit itself.
class KLAuthorization
{
public:
    static constexpr std::size_t kExternalFormLength = 32;
    static constexpr std::uint32_t kExternalFormVersion = 1;
    using ExternalForm = std::array<std::uint8_t, kExternalFormLength>;

    static const std::string& webcheckRight();
    static const std::string& apachectlRight();

    // pkcheck is asked for each right; tests give a stub.
    explicit KLAuthorization(std::string pkcheckPath = "/usr/bin/pkcheck");

    // Asks polkit for both rights for this process. With allowUserInteraction
    // polkit's agent may ask for an administrator password. True when both
    // are held; anything else (refusal, no polkit daemon, no pkcheck) is false,
    // and a refusal after asking revokes what the agent granted on the way.
    bool obtainRights(bool allowUserInteraction);
    bool holdsRights() const { return holdsRights_; }
    // The lock control was closed: forget the rights and revoke polkit's
    // temporary authorization (pkcheck --revoke-temp), so that an unlock lasts
    // only while the lock shows open.
    void releaseRights();

    // This process's external form; none when /proc or the random source fails.
    static std::optional<ExternalForm> makeExternalForm();
    // Field 22 of /proc/<pid>/stat; none when the process does not exist.
    static std::optional<std::uint64_t> processStartTime(pid_t pid);

private:
    bool checkRight(const std::string& right, bool allowUserInteraction) const;

    std::string pkcheckPath_;
    bool holdsRights_ = false;
};
