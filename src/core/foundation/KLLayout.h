#pragma once

#include <string>

// The paths of one Unix layout of the web server: the "macos" layout keeps
// the classic paths, the "debian" layout those of Debian's apache2 package.
// Registered defaults and fixed paths come from here and nowhere else.
struct KLLayout
{
    std::string name;
    std::string sharedDocumentRoot;   // root 1, with a trailing slash
    std::string personalWebFolder;    // root 0: this component in the home folder
    std::string apacheBinary;         // "ApacheBinaryLocation"
    bool overrideConfDirectory;       // "Override Conf Directory Location"
    std::string confDirectory;        // "Apache Conf Directory"
    std::string confFile;             // "Apache Conf File"
    std::string logDirectory;         // "Apache Log Directory"
    std::string processName;          // the server's process name
    std::string controlProgram;       // the server control program
    std::string repairSharedDirectory;   // repair rule set 2
    std::string repairPersonalDirectory; // repair rule set 3 (a pattern)
    std::string logViewer;            // opens a log file on the desktop

    static const KLLayout& macos();
    static const KLLayout& debian();
    // FENDREL_LAYOUT=macos|debian, else debian when /etc/debian_version exists.
    static const KLLayout& active();
};
