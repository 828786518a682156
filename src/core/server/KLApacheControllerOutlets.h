#pragma once

class KLAuthorizationView;
class KLButton;
class KLPopUpButton;
class KLTextField;
class KLTextView;
class KLWorkspace;

// The views of the web server tab as the controller sees them. The toolkit
// side fills this in; the boxes around them and their layout are its own.
struct KLApacheControllerOutlets
{
    KLButton* toggleButton = nullptr;     // "Start Apache" / "Stop Apache"
    KLButton* restartButton = nullptr;
    KLButton* gracefulSwitch = nullptr;   // check box
    KLButton* configCheckButton = nullptr;
    KLTextField* configCheckStatus = nullptr;
    KLTextView* configErrorView = nullptr; // the error area, hidden while there is no error
    KLPopUpButton* logPicker = nullptr;
    KLButton* logDisplayButton = nullptr;
    KLButton* webcheckButton = nullptr;
    KLTextField* moduleProblems = nullptr; // what the repair would still fix; hidden when nothing
    // Why Apache cannot serve the protected folders yet (KLServerNotice):
    // a line in this tab, and a line with its one fixing button at the
    // bottom of the access tab. Hidden when there is nothing to say.
    KLTextField* serverNotice = nullptr;
    KLTextField* accessNotice = nullptr;
    KLButton* accessNoticeButton = nullptr;
    KLAuthorizationView* authView = nullptr;
    KLWorkspace* workspace = nullptr;
};
