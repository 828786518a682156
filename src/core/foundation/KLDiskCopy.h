#pragma once

#include "KLFileStamp.h"

#include <memory>
#include <optional>
#include <string>

// A file's text as this process last read or wrote it, with the file's stamp
// at that moment, so that a writer can tell another program's edit from its
// own and merge it before writing.
class KLDiskCopy
{
public:
    // Empty text for a file that was not there.
    void remember(std::string text, const KLFileStamp& stamp)
    {
        text_ = std::make_shared<const std::string>(std::move(text));
        stamp_ = stamp;
    }
    const std::string& text() const { return *text_; }
    // The same text, kept alive for readers that parse parts of it later.
    std::shared_ptr<const std::string> sharedText() const { return text_; }

    // Another program's version of the file: none when it is as remembered
    // or gone (a file that went away is simply written again), otherwise its
    // text. False, with KLTextFile::lastError(), when it cannot be read.
    bool outsideText(const std::string& path, std::optional<std::string>& theirs) const;
    // Whether another program changed, made, removed or spoilt the file;
    // wasUnreadable tells that the remembered read had failed.
    bool changedOnDisk(const std::string& path, bool wasUnreadable) const;

private:
    // Whether the file's bytes are the remembered text, undecoded.
    bool holdsText(const std::string& path) const;

    std::shared_ptr<const std::string> text_ = std::make_shared<const std::string>();
    KLFileStamp stamp_;
};
