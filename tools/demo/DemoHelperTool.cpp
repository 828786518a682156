#include "DemoHelperTool.h"

#include "ApacheSandbox.h"
#include "KLApacheModules.h"
#include "KLTextFile.h"

#include <algorithm>
#include <string>

namespace {
// Exit statuses as WebCheck gives them.
constexpr int kSuccess = 0;
constexpr int kRefused = 1;
constexpr int kFailed = 3;
constexpr int kModuleRefused = 10;

std::string argument(const std::vector<std::string>& arguments, const std::string& option)
{
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i)
        if (arguments[i] == option)
            return arguments[i + 1];
    return {};
}
} // namespace

int DemoHelperTool::webcheckWithArgs(const std::vector<std::string>& arguments) const
{
    std::string operation = argument(arguments, "-operation");
    std::string data = argument(arguments, "-data");
    if (operation == "ctl") {
        if (data == "start")
            return sandbox_.isRunning() || sandbox_.start() ? kSuccess : kFailed;
        if (data == "stop") {
            sandbox_.stop();
            return kSuccess;
        }
        if (data == "graceful" || data == "restart") {
            if (!sandbox_.isRunning())
                return sandbox_.start() ? kSuccess : kFailed;
            return sandbox_.gracefulRestart() ? kSuccess : kFailed;
        }
        return kRefused;
    }
    if (operation == "webcheck") {
        if (argument(arguments, "-file") != sandbox_.configPath())
            return kRefused;
        std::optional<std::string> text = KLTextFile::readBytes(data);
        if (!text)
            return kFailed;
        sandbox_.replaceConfig(*text);
        return kSuccess;
    }
    if (operation == "module") {
        const std::vector<std::string>& allowed = KLApacheModules::accessModules();
        if (data != KLApacheModules::kUserDir && std::find(allowed.begin(), allowed.end(), data) == allowed.end())
            return kModuleRefused;
        return sandbox_.enableModule(data) ? kSuccess : kFailed;
    }
    return kRefused;
}
