#include "KLSocketException.h"

#include <cstring>

KLSocketException::KLSocketException(std::string name, std::string reason)
    : std::runtime_error(reason), name_(std::move(name)), reason_(std::move(reason))
{
}

KLSocketException::KLSocketException(const std::string& name) : KLSocketException(name, name) {}

KLSocketException KLSocketException::withError(const std::string& name, int error)
{
    return KLSocketException(name, name + ": " + std::strerror(error));
}
