#pragma once

#include <string>

namespace CLI {
class App;
}
class KLCliSession;

// `settings list|get|set|reset`: the stored settings with their registered
// defaults, typed as the settings store keeps them.
class KLSettingsCommands
{
public:
    static void addTo(CLI::App& app, KLCliSession& session);

private:
    static void list(KLCliSession& session);
    static void get(KLCliSession& session, const std::string& key);
    static void set(KLCliSession& session, const std::string& key, const std::string& text);
    static void reset(KLCliSession& session, const std::string& key);
};
