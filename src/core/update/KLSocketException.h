#pragma once

#include <stdexcept>
#include <string>

// A failure of a socket operation: a short name beginning "Socket: " that
// callers may test, and a reason that adds the system's error text.
class KLSocketException : public std::runtime_error
{
public:
    KLSocketException(std::string name, std::string reason);
    // Name and reason the same text (failed preconditions).
    explicit KLSocketException(const std::string& name);

    const std::string& name() const { return name_; }
    const std::string& reason() const { return reason_; }

    // The name, and as reason "<name>: <strerror(error)>".
    static KLSocketException withError(const std::string& name, int error);

private:
    std::string name_;
    std::string reason_;
};
