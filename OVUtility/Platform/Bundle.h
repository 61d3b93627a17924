// ov::Bundle: a resource directory with localised strings tables and an
// information dictionary, the C++ stand-in for the platform's bundles.
//
//   auto bundle = ov::Bundle::make("/opt/app/Resources");
//   std::optional<std::filesystem::path> file = bundle->url("release-features", "json");
//   std::string text = bundle->localizedString("BadgeNew");          // "Localizable" table
//   nlohmann::json info = bundle->infoDictionary();
//
// Layout of a bundle directory:
//   Info.json                         information dictionary (a JSON object)
//   <name>.<ext>                      resources
//   <language>.lproj/<name>.<ext>     localised resources, e.g. en.lproj/Localizable.strings
//
// Lookups:
// - `url(name, ext)` finds a file at the top level first, then in the
//   `.lproj` folders of the preferred localisations (see below).
// - `localizedString(key, value, table)` searches the table ("Localizable"
//   when empty) of each preferred localisation, then of the development
//   localisation, then a top-level table, and returns the first text found.
//   A missing key gives `value` when it is not empty, else the key itself (the
//   platform's fallback). A strings table that cannot be parsed is logged
//   once (file, line and reason) and treated as empty.
// - Preferred localisations: `setPreferredLanguages` when the application set
//   them, else LANGUAGE / LC_ALL / LC_MESSAGES / LANG ("de_DE.UTF-8" tries
//   "de_DE", then "de"), restricted to what the bundle has; the development
//   localisation ("DevelopmentLocalization" in Info.json, else "en") comes last.
//
// The main bundle is what the application sets with `setMain`. Until it does,
// it is the directory named by the environment variable OV_MAIN_BUNDLE, or
// else the directory that holds the running executable.
//
// The library's own bundle (`library()`) is compiled into the library, so
// its strings table is always there; when the environment variable
// OVUTILITY_RESOURCES names a directory, files there (more languages, say)
// are found before the compiled-in ones.
//
// Bundles are immutable apart from their caches and are thread-safe.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/StringsTable.h"

namespace ov {

class OV_API Bundle {
  public:
    // A bundle over a directory on disk.
    static std::shared_ptr<Bundle> make(std::filesystem::path directory);
    // A bundle whose files are in memory (relative path -> bytes); an optional
    // directory is searched first.
    static std::shared_ptr<Bundle> makeEmbedded(std::map<std::string, std::string> files,
                                                std::filesystem::path overlay = {});

    static std::shared_ptr<Bundle> main();
    static void setMain(std::shared_ptr<Bundle> bundle);
    // The library's own bundle (compiled-in resources).
    static std::shared_ptr<Bundle> library();

    // Languages to prefer, most wanted first ("de_DE", "fr"); empty restores
    // the environment's choice. Process-wide.
    static void setPreferredLanguages(std::vector<std::string> languages);

    // The bundle's directory; empty for a purely compiled-in bundle.
    const std::filesystem::path& resourcePath() const { return directory_; }

    // A resource file on disk, or no value.
    std::optional<std::filesystem::path> url(std::string_view name,
                                             std::string_view extension) const;
    // A resource's bytes, from disk or compiled in.
    std::optional<std::string> contents(std::string_view name, std::string_view extension) const;

    std::string localizedString(std::string_view key, std::string_view value = {},
                                std::string_view table = {}) const;
    // The parsed table of one localisation ("" for the top level), or no value
    // when absent or malformed.
    std::shared_ptr<const StringsTable> stringsTable(std::string_view table,
                                                     std::string_view localization) const;

    const nlohmann::json& infoDictionary() const { return info_; }
    std::optional<nlohmann::json> objectForInfoDictionaryKey(const std::string& key) const;

    // Localisations present in the bundle ("en", "de", ...), sorted.
    std::vector<std::string> localizations() const;
    // The search order used by lookups.
    std::vector<std::string> preferredLocalizations() const;
    std::string developmentLocalization() const;

  private:
    Bundle() = default;
    void loadInfo();
    void scanLocalizations();
    // Reads a file relative to the bundle (overlay directory, then memory).
    std::optional<std::string> read(const std::string& relativePath) const;
    bool exists(const std::string& relativePath) const;

    std::filesystem::path directory_;
    std::map<std::string, std::string> embedded_;
    nlohmann::json info_ = nlohmann::json::object();
    std::vector<std::string> localizations_;

    mutable std::mutex cacheMutex_;
    mutable std::map<std::string, std::shared_ptr<const StringsTable>> tables_;
};

}  // namespace ov
