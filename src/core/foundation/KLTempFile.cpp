#include "KLTempFile.h"

#include "KLBundle.h"

#include <cstdlib>
#include <unistd.h>

std::unique_ptr<KLTempFile> KLTempFile::tempFile()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string folder = tmp && *tmp ? tmp : "/tmp";
    // glibc's mkstemp wants six X where other systems accept five.
    std::string path = folder + "/." + applicationName() + "XXXXXX";
    int fd = ::mkstemp(path.data());
    if (fd < 0)
        return nullptr;
    return std::unique_ptr<KLTempFile>(new KLTempFile(fd, path));
}

KLTempFile::~KLTempFile()
{
    if (fd_ >= 0)
        ::close(fd_);
}
