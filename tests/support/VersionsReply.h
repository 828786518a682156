#pragma once

#include "KLPlist.h"

#include <string>

// A reply of the version service offering `version` with the details the
// update panel shows, and a note of the day.
inline std::string versionsReply(const std::string& version)
{
    KLPlist::Dictionary product = {
        {"current version", KLPlist(version)},
        {"version byte size", KLPlist(123456)},
        {"release notes", KLPlist("Folders open faster.")},
        {"info page", KLPlist("http://127.0.0.1/fendrel/")},
        {"download URL", KLPlist("http://127.0.0.1/downloads/Fendrel.tar.gz")},
    };
    return KLPlist(KLPlist::Dictionary{{"Fendrel", KLPlist(product)}, {"QOTD", KLPlist("Maintenance tonight")}})
        .toXML();
}
