#pragma once

#include "KLAlerts.h"

#include <string>
#include <vector>

// Alert sheets on the command line. A question (an alert with more than one
// button) is answered with the default button under --yes, asked on the
// terminal when there is one, and otherwise answered with the cancelling
// button while noting that a confirmation was missing. An alert with only
// its default button is a notice: kept whole, and for most commands a
// failure whose message is the error line (the update check reads its
// outcome from them). Panels are cancelled: the command line names folders
// itself.
class KLTerminalAlerts : public KLAlerts
{
public:
    explicit KLTerminalAlerts(bool assumeYes) : assumeYes_(assumeYes) {}

    void beginAlertSheet(const KLAlert& alert, std::function<void(int returnCode)> handler) override;
    void runFolderChooser(const std::string& startFolder,
                          std::function<void(int returnCode, const std::string& folder)> handler) override;
    void runSavePanel(const std::string& folder, const std::string& fileName,
                      std::function<void(int returnCode, const std::string& path)> handler) override;

    // A question came up with neither --yes nor a terminal to ask.
    bool confirmationMissing() const { return confirmationMissing_; }
    // The person answered a question with its cancelling button.
    bool declined() const { return declined_; }
    // The alerts with only their default button, in order.
    const std::vector<KLAlert>& notices() const { return notices_; }
    // Their messages (the title for an alert without one), in order.
    std::vector<std::string> failures() const;

private:
    int ask(const KLAlert& alert);

    bool assumeYes_;
    bool confirmationMissing_ = false;
    bool declined_ = false;
    std::vector<KLAlert> notices_;
};
