#include "FendrelPref.h"

#include "KLAlerts.h"
#include "KLLog.h"
#include "KLStringExtensions.h"

#include <cstdint>
#include <cstdlib>

namespace {
constexpr const char* kErrorLogFormat = "[Fendrel] Error %d: %s";
constexpr const char* kErrorTitle = "An Error Occured";
constexpr const char* kKnownErrorFormat = "An error was encountered by Fendrel in phase %s: %s";
constexpr const char* kUnknownError = "An unknown error occured";
constexpr const char* kErrorPhase = "1";
constexpr const char* kKnownErrorContext = "known error";
constexpr const char* kUnknownErrorContext = "unknown error";

constexpr double kDividerMinimumRaise = 70;
constexpr double kDividerMaximumLowering = 140;
} // namespace

void FendrelPref::displayError(int code)
{
    if (code == 0)
        return;
    // The entry is looked up before any range test; a caller passing a code
    // outside the table gets a log line without text.
    std::int64_t index = std::llabs(static_cast<std::int64_t>(code));
    std::string entry = index < static_cast<std::int64_t>(errors_.size()) ? errors_[static_cast<std::size_t>(index)] : "";
    KLLog(stringWithFormat(kErrorLogFormat, code, entry.c_str()));

    // Taken as unsigned, every negative code is out of the table.
    KLAlert alert;
    alert.title = kErrorTitle;
    alert.defaultButton = "OK";
    if (static_cast<std::uint32_t>(code) < errors_.size()) {
        alert.message = stringWithFormat(kKnownErrorFormat, kErrorPhase, entry.c_str());
        alert.context = kKnownErrorContext;
    } else {
        alert.message = kUnknownError;
        alert.context = kUnknownErrorContext;
    }
    if (o_.alerts)
        o_.alerts->beginAlertSheet(alert, [this](int returnCode) { sheetDidEnd(nullptr, returnCode, nullptr); });
}

void FendrelPref::sheetDidEnd(void*, int, void*)
{
}

double FendrelPref::constrainMinCoordinate(double proposed, int) const
{
    return proposed + kDividerMinimumRaise;
}

double FendrelPref::constrainMaxCoordinate(double proposed, int) const
{
    return proposed - kDividerMaximumLowering;
}
