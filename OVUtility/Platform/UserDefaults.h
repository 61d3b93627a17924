// ov::UserDefaults: typed per-user settings by key, kept in a JSON file.
//
//   auto defaults = ov::UserDefaults::standard();
//   defaults->set("OVLocalizedStringsPercent", 30);
//   std::optional<long long> percent = defaults->integer("OVLocalizedStringsPercent");
//
// Typed reads are strict: `integer` answers only for a stored JSON integer
// (a string "30", a Boolean or 30.5 give no value), `string` only for a
// string, `boolean` only for a Boolean, `number` for any number. `object`
// gives the stored JSON value as it is.
//
// The standard instance is backed by "$XDG_CONFIG_HOME/ovutility/defaults.json"
// (or "~/.config/ovutility/defaults.json"); the environment variable
// OV_USER_DEFAULTS names another file. A missing file is an empty store; a
// file that is not a JSON object is logged, left untouched (it is moved aside
// to "<file>.bad" before the first write, never silently overwritten) and the
// store starts empty. Every `set`/`remove` writes the file through a temporary
// file and a rename, so a crash never leaves half a file. Tests point the
// standard instance elsewhere with `setStandard`, or make private stores
// with `make(path)` / `makeInMemory()`.
//
// Thread-safe.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API UserDefaults {
  public:
    // A store backed by `path` (loaded now).
    static std::shared_ptr<UserDefaults> make(std::filesystem::path path);
    // A store that is never written to disk.
    static std::shared_ptr<UserDefaults> makeInMemory(
        nlohmann::json values = nlohmann::json::object());

    // The process-wide store, created on first use.
    static std::shared_ptr<UserDefaults> standard();
    // Replaces the process-wide store (tests, applications with their own
    // location). Code that already read a setting keeps what it read.
    static void setStandard(std::shared_ptr<UserDefaults> defaults);
    // The default location of the standard store's file.
    static std::filesystem::path standardPath();

    std::optional<nlohmann::json> object(const std::string& key) const;
    std::optional<long long> integer(const std::string& key) const;
    std::optional<double> number(const std::string& key) const;
    std::optional<bool> boolean(const std::string& key) const;
    std::optional<std::string> string(const std::string& key) const;

    void set(const std::string& key, nlohmann::json value);
    void remove(const std::string& key);
    nlohmann::json dictionaryRepresentation() const;

    // The backing file; empty for an in-memory store.
    const std::filesystem::path& path() const { return path_; }

  private:
    UserDefaults() = default;
    void load();
    void writeLocked() const;

    std::filesystem::path path_;
    mutable std::mutex mutex_;
    nlohmann::json values_ = nlohmann::json::object();
    mutable bool moveAsideBeforeWrite_ = false;
};

}  // namespace ov
