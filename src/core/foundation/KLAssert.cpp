#include "KLAssert.h"

KLInvalidParameter::KLInvalidParameter(const std::string& condition)
    : std::logic_error("Invalid parameter not satisfying: " + condition), condition_(condition)
{
}
