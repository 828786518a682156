// The access file reader over arbitrary bytes, and the writer over whatever
// state the reader made of them.
#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "KLTextFile.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

// The writer's heading carries the minute of writing, which may turn between
// two writes.
std::string withoutDate(std::string text)
{
    std::size_t at = text.find("\n## on ");
    if (at != std::string::npos)
        text.erase(at, text.find('\n', at + 1) - at);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string root = [] {
        char folder[] = "/tmp/fendrel-fuzz-XXXXXX";
        return std::string(mkdtemp(folder) ? folder : "/tmp");
    }();
    // A fresh pane and item for every input, so that a finding replays alone.
    FakePaneContext context;
    context.root = root;
    context.userNames = std::vector<std::string>{"alice", "bob"};
    context.groupNames = std::vector<std::string>{"staff"};
    std::shared_ptr<KLFSItem> item = KLFSItem::create(root);

    std::optional<std::string> text = KLTextFile::decode({reinterpret_cast<const char*>(data), size});
    if (!text)
        return 0;
    item->setStringValue(*text);
    std::string written = item->accessFileText();
    // What the writer makes of the state must read back to the same state.
    item->setStringValue(written);
    if (withoutDate(item->accessFileText()) != withoutDate(written))
        std::abort();
    return 0;
}
