#pragma once

#include <string>

// What the running web server answered for one protected folder, asked
// without credentials from this machine, against what the folder's access
// file promises.
struct KLAccessCheck
{
    enum class Verdict { Enforced, NotEnforced, CannotJudge };

    // How the folder outline shows each verdict: an image name the toolkit
    // draws.
    static constexpr const char* kEnforcedImage = "access_enforced";
    static constexpr const char* kNotEnforcedImage = "access_not_enforced";
    static constexpr const char* kCannotJudgeImage = "access_cannot_judge";

    std::string fullPath;   // the folder
    std::string accessPath; // its access file
    std::string urlPath;    // the address asked, below the site
    int mode = 0;           // the protection mode index of the folder outline
    int expected = 0;       // 401 or 403; 0 when the answer cannot be judged
    int status = 0;         // the server's answer; 0 for none
    Verdict verdict = Verdict::CannotJudge;
    std::string reason;     // in plain words

    // "enforced", "not enforced", "cannot judge".
    static constexpr const char* verdictName(Verdict verdict)
    {
        return verdict == Verdict::Enforced      ? "enforced"
               : verdict == Verdict::NotEnforced ? "not enforced"
                                                 : "cannot judge";
    }
    static constexpr const char* imageName(Verdict verdict)
    {
        return verdict == Verdict::Enforced      ? kEnforcedImage
               : verdict == Verdict::NotEnforced ? kNotEnforcedImage
                                                 : kCannotJudgeImage;
    }
};
