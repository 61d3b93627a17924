#include "OVLog/OVLog.h"

#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_set>

#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

namespace ovlog {

std::string_view toString(Level level) {
    switch (level) {
        case Level::verbose:
            return "verbose";
        case Level::debug:
            return "debug";
        case Level::warning:
            return "warning";
        case Level::error:
            return "error";
        case Level::off:
            return "off";
    }
    return "unknown";
}

namespace {

std::optional<Level> parseLevel(std::string_view text) {
    for (Level l : {Level::verbose, Level::debug, Level::warning, Level::error, Level::off}) {
        if (text == toString(l)) return l;
    }
    return std::nullopt;
}

spdlog::level::level_enum toSpd(Level level) {
    switch (level) {
        case Level::verbose:
            return spdlog::level::trace;
        case Level::debug:
            return spdlog::level::debug;
        case Level::warning:
            return spdlog::level::warn;
        case Level::error:
            return spdlog::level::err;
        case Level::off:
            return spdlog::level::off;
    }
    return spdlog::level::off;
}

}  // namespace

// Process-wide state: the modules, their levels and the sinks. Created on
// first use and never destroyed, so that logging from static destructors of
// other units stays safe.
class Registry {
  public:
    static Registry& shared() {
        static Registry* registry = new Registry();
        return *registry;
    }

    Module& module(std::string_view name) {
        std::lock_guard lock(mutex_);
        auto it = modules_.find(name);
        if (it != modules_.end()) return *it->second;
        Level level = defaultLevel_;
        if (auto env = envLevels_.find(std::string(name)); env != envLevels_.end()) {
            level = env->second;
            explicitLevels_.insert(std::string(name));
        }
        auto* created = new Module(std::string(name), level);
        modules_.emplace(created->name(), created);
        return *created;
    }

    void setLevel(std::string_view name, Level level) {
        Module& m = module(name);
        std::lock_guard lock(mutex_);
        explicitLevels_.insert(std::string(name));
        m.setLevel(level);
    }

    void setDefaultLevel(Level level) {
        std::lock_guard lock(mutex_);
        defaultLevel_ = level;
        for (auto& [name, m] : modules_) {
            if (!explicitLevels_.count(name)) m->setLevel(level);
        }
    }

    Level defaultLevel() {
        std::lock_guard lock(mutex_);
        return defaultLevel_;
    }

    spdlog::logger& logger() { return *logger_; }
    spdlog::sinks::dist_sink_mt& sinks() { return *sinks_; }
    void setConsole(bool enabled) {
        console_->set_level(enabled ? spdlog::level::trace : spdlog::level::off);
    }

  private:
    Registry() {
        console_ = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
        console_->set_pattern("%Y-%m-%d %H:%M:%S.%e [%l] [%n] %s.%!:%# %v");
        sinks_ = std::make_shared<spdlog::sinks::dist_sink_mt>();
        sinks_->add_sink(console_);
        logger_ = std::make_shared<spdlog::logger>("OVLog", sinks_);
        logger_->set_level(spdlog::level::trace);
        logger_->flush_on(spdlog::level::warn);
        readEnvironment();
    }

    // OVLOG_LEVEL="warning,OperationTask=debug"
    void readEnvironment() {
        const char* env = std::getenv("OVLOG_LEVEL");
        if (!env) return;
        std::string_view text(env);
        while (!text.empty()) {
            auto comma = text.find(',');
            std::string_view item = text.substr(0, comma);
            text = comma == std::string_view::npos ? std::string_view{} : text.substr(comma + 1);
            auto eq = item.find('=');
            if (eq == std::string_view::npos) {
                if (auto l = parseLevel(item)) defaultLevel_ = *l;
            } else if (auto l = parseLevel(item.substr(eq + 1))) {
                envLevels_[std::string(item.substr(0, eq))] = *l;
            }
        }
    }

    std::mutex mutex_;
    Level defaultLevel_ = Level::warning;
    std::map<std::string, Module*, std::less<>> modules_;
    std::map<std::string, Level, std::less<>> envLevels_;
    std::unordered_set<std::string> explicitLevels_;
    std::shared_ptr<spdlog::sinks::sink> console_;
    std::shared_ptr<spdlog::sinks::dist_sink_mt> sinks_;
    std::shared_ptr<spdlog::logger> logger_;
};

Module& Module::named(std::string_view name) {
    return Registry::shared().module(name);
}

void OLog::setLevel(std::string_view module, Level level) {
    Registry::shared().setLevel(module, level);
}
void OLog::setDefaultLevel(Level level) {
    Registry::shared().setDefaultLevel(level);
}
Level OLog::defaultLevel() {
    return Registry::shared().defaultLevel();
}

void OLog::write(Level level, const Module& module, CallSite site, std::string_view message) {
    if (level == Level::off) return;
    // spdlog's source_loc wants NUL-terminated strings; the unit and function
    // views come from literals or __func__ in practice, but copy to be safe.
    std::string unit(site.unit);
    std::string function(site.function);
    spdlog::details::log_msg msg(spdlog::source_loc{unit.c_str(), site.line, function.c_str()},
                                 module.name(), toSpd(level), message);
    auto& sinks = Registry::shared().sinks();
    sinks.log(msg);
    if (level >= Level::warning) sinks.flush();
}

void OLog::addSink(std::shared_ptr<spdlog::sinks::sink> sink) {
    Registry::shared().sinks().add_sink(std::move(sink));
}
void OLog::removeSink(const std::shared_ptr<spdlog::sinks::sink>& sink) {
    Registry::shared().sinks().remove_sink(sink);
}
void OLog::setConsoleOutput(bool enabled) {
    Registry::shared().setConsole(enabled);
}

}  // namespace ovlog
