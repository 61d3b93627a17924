#include "OVUtility/Platform/UserDefaults.h"

#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

#include "OVLog/OVLog.h"

namespace ov {

static ovlog::Module& kModule = ovlog::Module::named("UserDefaults");

namespace {

std::mutex& standardMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<UserDefaults>& standardSlot() {
    static std::shared_ptr<UserDefaults> slot;
    return slot;
}

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::make(std::filesystem::path path) {
    std::shared_ptr<UserDefaults> defaults(new UserDefaults());
    defaults->path_ = std::move(path);
    defaults->load();
    return defaults;
}

std::shared_ptr<UserDefaults> UserDefaults::makeInMemory(nlohmann::json values) {
    std::shared_ptr<UserDefaults> defaults(new UserDefaults());
    if (values.is_object()) defaults->values_ = std::move(values);
    return defaults;
}

std::filesystem::path UserDefaults::standardPath() {
    if (const char* file = std::getenv("OV_USER_DEFAULTS"); file && *file) return file;
    std::filesystem::path base;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg && xdg[0] == '/') {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        base = std::filesystem::path(home) / ".config";
    } else {
        base = std::filesystem::temp_directory_path();
    }
    return base / "ovutility" / "defaults.json";
}

std::shared_ptr<UserDefaults> UserDefaults::standard() {
    std::lock_guard lock(standardMutex());
    auto& slot = standardSlot();
    if (!slot) slot = make(standardPath());
    return slot;
}

void UserDefaults::setStandard(std::shared_ptr<UserDefaults> defaults) {
    std::lock_guard lock(standardMutex());
    standardSlot() = std::move(defaults);
}

void UserDefaults::load() {
    std::error_code ec;
    if (!std::filesystem::exists(path_, ec)) return;
    std::ifstream in(path_, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    if (!in) {
        OVLOG_WARNING(kModule, "user defaults file {} cannot be read; starting empty",
                      path_.string());
        moveAsideBeforeWrite_ = true;
        return;
    }
    auto parsed = nlohmann::json::parse(buffer.str(), nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded() || !parsed.is_object()) {
        OVLOG_WARNING(kModule, "user defaults file {} is not a JSON object; starting empty",
                      path_.string());
        moveAsideBeforeWrite_ = true;
        return;
    }
    values_ = std::move(parsed);
}

void UserDefaults::writeLocked() const {
    if (path_.empty()) return;
    std::error_code ec;
    if (moveAsideBeforeWrite_) {
        auto aside = path_;
        aside += ".bad";
        std::filesystem::rename(path_, aside, ec);
        moveAsideBeforeWrite_ = false;
    }
    std::filesystem::create_directories(path_.parent_path(), ec);
    auto temporary = path_;
    temporary += ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << values_.dump(2) << '\n';
        if (!out) {
            OVLOG_WARNING(kModule, "cannot write user defaults file {}", temporary.string());
            return;
        }
    }
    std::filesystem::rename(temporary, path_, ec);
    if (ec) {
        OVLOG_WARNING(kModule, "cannot replace user defaults file {}: {}", path_.string(),
                      ec.message());
    }
}

std::optional<nlohmann::json> UserDefaults::object(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return *it;
}

std::optional<long long> UserDefaults::integer(const std::string& key) const {
    auto value = object(key);
    if (!value || !value->is_number_integer()) return std::nullopt;
    if (value->is_number_unsigned()) {
        auto u = value->get<unsigned long long>();
        if (u > static_cast<unsigned long long>(std::numeric_limits<long long>::max()))
            return std::nullopt;
        return static_cast<long long>(u);
    }
    return value->get<long long>();
}

std::optional<double> UserDefaults::number(const std::string& key) const {
    auto value = object(key);
    if (!value || !value->is_number()) return std::nullopt;
    return value->get<double>();
}

std::optional<bool> UserDefaults::boolean(const std::string& key) const {
    auto value = object(key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> UserDefaults::string(const std::string& key) const {
    auto value = object(key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

void UserDefaults::set(const std::string& key, nlohmann::json value) {
    std::lock_guard lock(mutex_);
    values_[key] = std::move(value);
    writeLocked();
}

void UserDefaults::remove(const std::string& key) {
    std::lock_guard lock(mutex_);
    values_.erase(key);
    writeLocked();
}

nlohmann::json UserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(mutex_);
    return values_;
}

}  // namespace ov
