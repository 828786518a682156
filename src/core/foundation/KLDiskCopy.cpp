#include "KLDiskCopy.h"

#include "KLFileExtensions.h"
#include "KLTextFile.h"

bool KLDiskCopy::holdsText(const std::string& path) const
{
    // Mostly the file is what was written here a moment ago: the same bytes
    // need no decoding to tell.
    return KLTextFile::readBytes(path) == *text_;
}

bool KLDiskCopy::outsideText(const std::string& path, std::optional<std::string>& theirs) const
{
    theirs.reset();
    if (!stamp_.mayHaveChanged(path) || !fileExists(path) || holdsText(path))
        return true;
    std::optional<std::string> text = KLTextFile::readEditable(path);
    if (!text)
        return false;
    if (*text != *text_)
        theirs = std::move(text);
    return true;
}

bool KLDiskCopy::changedOnDisk(const std::string& path, bool wasUnreadable) const
{
    if (!stamp_.mayHaveChanged(path))
        return false;
    if (!fileExists(path))
        return stamp_.exists();
    if (!wasUnreadable && holdsText(path))
        return false;
    std::optional<std::string> text = KLTextFile::readEditable(path);
    return text ? wasUnreadable || *text != *text_ : !wasUnreadable;
}
