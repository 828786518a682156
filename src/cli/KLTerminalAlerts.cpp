#include "KLTerminalAlerts.h"

#include "KLTerminal.h"

#include <cctype>
#include <cstdio>

namespace {

constexpr const char* kDefaultButton = "OK";
constexpr int kDefaultReturn = 1;
constexpr int kAlternateReturn = 0;
constexpr int kOtherReturn = -1;
constexpr int kMaxTries = 3;
// No one could be asked; the question is cancelled.
constexpr int kUnanswered = -100;

std::string lowercase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The answer names a button when it is the button's title or its first letter.
bool names(const std::string& answer, const std::string& button)
{
    if (button.empty() || answer.empty())
        return false;
    std::string a = lowercase(answer);
    std::string b = lowercase(button);
    return a == b || (a.size() == 1 && a[0] == b[0]);
}

} // namespace

void KLTerminalAlerts::beginAlertSheet(const KLAlert& alert, std::function<void(int)> handler)
{
    if (alert.alternateButton.empty() && alert.otherButton.empty()) {
        notices_.push_back(alert);
        if (handler)
            handler(kDefaultReturn);
        return;
    }
    int answer = ask(alert);
    if (answer == kUnanswered) {
        confirmationMissing_ = true;
        answer = kOtherReturn;
    } else if (answer == kOtherReturn) {
        declined_ = true;
    }
    if (handler)
        handler(answer);
}

std::vector<std::string> KLTerminalAlerts::failures() const
{
    std::vector<std::string> messages;
    for (const KLAlert& notice : notices_)
        messages.push_back(notice.message.empty() ? notice.title : notice.message);
    return messages;
}

int KLTerminalAlerts::ask(const KLAlert& alert)
{
    if (assumeYes_)
        return kDefaultReturn;
    if (!KLTerminal::isInteractive())
        return kUnanswered;
    std::string defaultButton = alert.defaultButton.empty() ? kDefaultButton : alert.defaultButton;
    std::string choices = defaultButton;
    for (const std::string* button : {&alert.alternateButton, &alert.otherButton}) {
        if (!button->empty())
            choices += "/" + *button;
    }
    std::fprintf(stderr, "%s\n%s\n", alert.title.c_str(), alert.message.c_str());
    for (int tries = 0; tries < kMaxTries; ++tries) {
        std::optional<std::string> answer = KLTerminal::readLine("[" + choices + "] ");
        if (!answer)
            break;
        if (names(*answer, defaultButton))
            return kDefaultReturn;
        if (names(*answer, alert.alternateButton))
            return kAlternateReturn;
        if (names(*answer, alert.otherButton))
            return kOtherReturn;
    }
    return alert.otherButton.empty() ? kAlternateReturn : kOtherReturn;
}

void KLTerminalAlerts::runFolderChooser(const std::string&, std::function<void(int, const std::string&)> handler)
{
    if (handler)
        handler(0, {});
}

void KLTerminalAlerts::runSavePanel(const std::string&, const std::string&,
                                    std::function<void(int, const std::string&)> handler)
{
    if (handler)
        handler(0, {});
}
