// The update service's reply over arbitrary bytes: HTTP header stripping and
// the property list behind it.
#include "KLSUController.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    KLSUController::parseReply(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
