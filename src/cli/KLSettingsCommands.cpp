#include "KLSettingsCommands.h"

#include "FendrelPref.h"
#include "KLCliError.h"
#include "KLCliSession.h"
#include "KLPlistJSON.h"
#include "KLSettingValue.h"
#include "KLUserDefaults.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <set>

namespace {
constexpr const char* kNoSuchSetting = "No setting \"%s\"";
constexpr const char* kCannotWrite = "Cannot write the settings file %s";

std::string withKey(const char* format, const std::string& key)
{
    std::string text(format);
    text.replace(text.find("%s"), 2, key);
    return text;
}

KLUserDefaults& defaults()
{
    FendrelPref::initialize();
    return KLUserDefaults::standardUserDefaults();
}
} // namespace

void KLSettingsCommands::addTo(CLI::App& app, KLCliSession& session)
{
    CLI::App* settings = app.add_subcommand("settings", "Show and change the stored settings");
    settings->require_subcommand(1);

    settings->add_subcommand("list", "Every setting with its value (stored or default)")
        ->callback([&session] { session.setAction([&session] { list(session); }); });

    auto key = std::make_shared<std::string>();
    auto value = std::make_shared<std::string>();

    CLI::App* get = settings->add_subcommand("get", "The value of one setting");
    get->add_option("KEY", *key, "Setting name, e.g. \"Sort Users\"")->required();
    get->callback([&session, key] { session.setAction([&session, key] { KLSettingsCommands::get(session, *key); }); });

    CLI::App* set = settings->add_subcommand(
        "set", "Store a value: true/false, an integer, a real, a string, or an array as JSON");
    set->add_option("KEY", *key, "Setting name")->required();
    set->add_option("VALUE", *value, "New value, typed as the setting's default")->required();
    set->callback([&session, key, value] {
        session.setAction([&session, key, value] { KLSettingsCommands::set(session, *key, *value); });
    });

    CLI::App* reset = settings->add_subcommand("reset", "Forget the stored value; the default applies again");
    reset->add_option("KEY", *key, "Setting name")->required();
    reset->callback(
        [&session, key] { session.setAction([&session, key] { KLSettingsCommands::reset(session, *key); }); });
}

void KLSettingsCommands::list(KLCliSession& session)
{
    KLUserDefaults& store = defaults();
    std::set<std::string> keys;
    for (const auto& [key, value] : FendrelPref::registeredDefaults())
        keys.insert(key);
    for (const auto& [key, value] : store.storedValues())
        keys.insert(key);
    nlohmann::json json = nlohmann::json::object();
    std::string text;
    for (const std::string& key : keys) {
        KLPlist value = store.objectForKey(key);
        json[key] = KLPlistJSON::toJSON(value);
        text += key + " = " + KLPlistJSON::displayText(value) + "\n";
    }
    session.output.emit(json, text);
}

void KLSettingsCommands::get(KLCliSession& session, const std::string& key)
{
    KLPlist value = defaults().objectForKey(key);
    if (value.isNull())
        throw KLCliError(KLExitStatus::NotFound, withKey(kNoSuchSetting, key));
    session.output.emit(KLPlistJSON::toJSON(value), KLPlistJSON::displayText(value));
}

void KLSettingsCommands::set(KLCliSession& session, const std::string& key, const std::string& text)
{
    session.lockSettings();
    KLUserDefaults& store = defaults();
    KLPlist value = KLSettingValue::parse(key, text, store.registrationObjectForKey(key));
    if (!store.setObject(value, key))
        throw KLCliError(KLExitStatus::Failure, withKey(kCannotWrite, store.preferencesPath()));
    session.output.emit(KLPlistJSON::toJSON(store.objectForKey(key)), {});
}

void KLSettingsCommands::reset(KLCliSession& session, const std::string& key)
{
    session.lockSettings();
    KLUserDefaults& store = defaults();
    if (store.objectForKey(key).isNull())
        throw KLCliError(KLExitStatus::NotFound, withKey(kNoSuchSetting, key));
    if (!store.removeDefaultForKey(key))
        throw KLCliError(KLExitStatus::Failure, withKey(kCannotWrite, store.preferencesPath()));
    session.output.emit(KLPlistJSON::toJSON(store.objectForKey(key)), {});
}
