#include "FendrelPref.h"

#include "KLButton.h"
#include "KLProgressIndicator.h"
#include "KLSUController.h"
#include "KLStringExtensions.h"
#include "KLTextField.h"
#include "KLUserDefaults.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <locale.h>
#include <stdexcept>

namespace {
constexpr const char* kLastVersionCheck = "Last Version Check";
constexpr const char* kLastCheckFormat = "Last Check: %s at %s";
constexpr const char* kLastCheckNever = "Last Check: never";
constexpr const char* kToday = "Today";
constexpr const char* kYesterday = "Yesterday";
constexpr const char* kDateWithYearFormat = "%B %e, %Y";
constexpr const char* kDateFormat = "%B %e";
constexpr const char* kTimeFormat = "%I:%M %p";

constexpr const char* kSWULoadFailure = "Bundle 'SWU' could not be loaded. Software Update unavailable";
constexpr const char* kCancelTitle = "Cancel";
constexpr const char* kCheckNowTitle = "Check Now";


// Seconds between the Unix epoch and the reference date 2001-01-01 UTC.
constexpr double kReferenceDateOffset = 978307200.0;

std::time_t unixTime(double referenceSeconds)
{
    return static_cast<std::time_t>(std::floor(referenceSeconds + kReferenceDateOffset));
}

// Dates are written in English whatever the process's locale.
std::string formatTime(const char* format, std::time_t when)
{
    static locale_t english = newlocale(LC_ALL_MASK, "C", nullptr);
    std::tm local{};
    localtime_r(&when, &local);
    char text[128];
    std::size_t length = strftime_l(text, sizeof text, format, &local, english);
    return std::string(text, length);
}

// "%e" pads single days with a blank; the texts show "June 5".
std::string formatDate(const char* format, std::time_t when)
{
    std::string text = formatTime(format, when);
    if (std::size_t pad = text.find("  "); pad != std::string::npos)
        text.erase(pad, 1);
    return text;
}

std::time_t localMidnight(std::tm day)
{
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    day.tm_isdst = -1;
    return std::mktime(&day);
}
} // namespace

double FendrelPref::now() const
{
    if (clock_)
        return clock_();
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count() - kReferenceDateOffset;
}

std::string FendrelPref::lastCheckText(double seconds) const
{
    if (seconds == 0)
        return kLastCheckNever;
    std::time_t current = unixTime(now());
    std::tm local{};
    localtime_r(&current, &local);
    std::time_t today = localMidnight(local);
    // Month 0, day 0 of this year in calendar terms (months counted from 1)
    // normalises to the last day of November of last year; kept as built.
    std::tm start = local;
    start.tm_mon = -1;
    start.tm_mday = 0;
    std::time_t yearStart = localMidnight(start);
    std::tm before = local;
    before.tm_mday -= 1;
    std::time_t yesterday = localMidnight(before);

    std::time_t check = unixTime(seconds);
    std::string day;
    if (check < yearStart)
        day = formatDate(kDateWithYearFormat, check);
    else if (check >= yesterday)
        day = check >= today ? kToday : kYesterday;
    else
        day = formatDate(kDateFormat, check);
    std::string time = stringByRemovingLeadingZero(formatTime(kTimeFormat, check));
    return stringWithFormat(kLastCheckFormat, day.c_str(), time.c_str());
}

void FendrelPref::setSecondsSinceCheck(double seconds)
{
    if (o_.lastCheckText)
        o_.lastCheckText->setStringValue(lastCheckText(seconds));
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    if (defaults.doubleForKey(kLastVersionCheck) != seconds)
        defaults.setDouble(seconds, kLastVersionCheck);
}

void FendrelPref::prepSWU()
{
    if (SWUController_)
        return;
    if (!o_.swu)
        throw std::runtime_error(kSWULoadFailure);
    auto controller = std::make_shared<KLSUController>();
    controller->setOutlets(*o_.swu);
    SWUController_ = std::move(controller);
    swuObservation_ = KLObservation("", SWUController_.get(),
                                    [this](const KLNotification& note) { receiveSWUNotification(note); });
}

void FendrelPref::beginSWUCheck(void*)
{
    prepSWU();
    SWUController_->checkForNewVersion(nullptr);
}

void FendrelPref::receiveSWUNotification(const KLNotification& notification)
{
    if (notification.name == KLSUController::kUpdated) {
        setSecondsSinceCheck(notification.userInfo[KLSUController::kSecondsKey].doubleReading().value_or(0));
    } else if (notification.name == KLSUController::kStarted) {
        if (o_.versionCheckProgress)
            o_.versionCheckProgress->startAnimation();
        if (o_.versionCheckButton)
            o_.versionCheckButton->setTitle(kCancelTitle);
    } else if (notification.name == KLSUController::kEnded || notification.name == KLSUController::kCancelled) {
        if (o_.versionCheckProgress)
            o_.versionCheckProgress->stopAnimation();
        if (o_.versionCheckButton)
            o_.versionCheckButton->setTitle(kCheckNowTitle);
    }
}
