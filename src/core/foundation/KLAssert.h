#pragma once

#include <stdexcept>
#include <string>

// A programming error: a parameter that does not satisfy its condition.
// The message is "Invalid parameter not satisfying: <condition>".
class KLInvalidParameter : public std::logic_error
{
public:
    explicit KLInvalidParameter(const std::string& condition);
    const std::string& condition() const { return condition_; }

private:
    std::string condition_;
};

// Raises KLInvalidParameter with the condition's text when it does not hold.
#define KL_PARAMETER_ASSERT_TEXT(cond, text)                                                                           \
    do {                                                                                                               \
        if (!(cond))                                                                                                   \
            throw KLInvalidParameter(text);                                                                            \
    } while (0)
#define KL_PARAMETER_ASSERT(cond) KL_PARAMETER_ASSERT_TEXT(cond, #cond)
