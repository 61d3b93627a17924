// OVLog: the logging facade used by every OVUtility subsystem.
//
// Log lines belong to a *module* (one per area, e.g. "OperationTask" for the
// task and operation layers), carry a level (verbose < debug < warning <
// error) and the call site's source unit, function name and line. Each module
// has its own minimum level; `OLog::isEnabled(level, module)` answers whether a
// line would be written, so that expensive dumps can be skipped:
//
//   static ovlog::Module& kTasks = ovlog::Module::named("OperationTask");
//   OVLOG_DEBUG(kTasks, "adding task {} existingCount:{}", task, n);
//   if (ovlog::OLog::isEnabled(ovlog::Level::debug, kTasks)) { dumpEverything(); }
//
// Output goes through spdlog (stderr by default). Tests attach a
// `ovlog::CaptureSink` (CaptureSink.h) and assert on the exact texts.
//
// Levels can also be set from the environment before first use:
//   OVLOG_LEVEL="debug"                      every module at debug
//   OVLOG_LEVEL="warning,OperationTask=verbose"  default plus per-module levels
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "OVLog/OVLogExport.h"

namespace spdlog::sinks {
class sink;
}

namespace ovlog {

enum class Level : int { verbose = 0, debug = 1, warning = 2, error = 3, off = 4 };

OVLOG_API std::string_view toString(Level level);

// A named log module. Modules live for the whole process; `named` returns the
// same object for the same name, so handles may be cached in statics.
class OVLOG_API Module {
  public:
    static Module& named(std::string_view name);

    const std::string& name() const { return name_; }
    Level level() const { return static_cast<Level>(level_.load(std::memory_order_relaxed)); }
    void setLevel(Level level) { level_.store(static_cast<int>(level), std::memory_order_relaxed); }

    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

  private:
    friend class Registry;
    Module(std::string name, Level level)
        : name_(std::move(name)), level_(static_cast<int>(level)) {}
    std::string name_;
    std::atomic<int> level_;
};

// The call site of a log line: the source unit (a file name without
// directory and extension, e.g. "TaskManager"), the function and the line.
struct CallSite {
    std::string_view unit;
    std::string_view function;
    int line = 0;
};

// Strips directories and the extension from a path: "a/b/TaskManager.cpp" -> "TaskManager".
constexpr std::string_view unitName(std::string_view path) {
    auto slash = path.find_last_of('/');
    if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
    auto dot = path.find('.');
    if (dot != std::string_view::npos) path = path.substr(0, dot);
    return path;
}

class OVLOG_API OLog {
  public:
    // True when a line of `level` in `module` would be written.
    static bool isEnabled(Level level, const Module& module) {
        return level != Level::off && static_cast<int>(level) >= static_cast<int>(module.level());
    }
    static bool isEnabled(Level level, std::string_view module) {
        return isEnabled(level, Module::named(module));
    }

    // Minimum level of a module; also used for modules created later when set
    // through `setDefaultLevel`.
    static void setLevel(std::string_view module, Level level);
    static void setDefaultLevel(Level level);
    static Level defaultLevel();

    // Writes one line (no check of the level: callers use the macros or
    // `isEnabled` first).
    static void write(Level level, const Module& module, CallSite site, std::string_view message);

    // Formats and writes when the level is enabled.
    template <typename... Args>
    static void log(Level level, const Module& module, CallSite site,
                    fmt::format_string<Args...> format, Args&&... args) {
        if (!isEnabled(level, module)) return;
        write(level, module, site, fmt::format(format, std::forward<Args>(args)...));
    }

    // Sinks receive every written line. The default sink writes to stderr;
    // `setConsoleOutput(false)` silences it (tests, quiet tools).
    static void addSink(std::shared_ptr<spdlog::sinks::sink> sink);
    static void removeSink(const std::shared_ptr<spdlog::sinks::sink>& sink);
    static void setConsoleOutput(bool enabled);
};

}  // namespace ovlog

// Logging macros: the unit is taken from the file name, the function from the
// enclosing function. The `_AT` forms name unit and function explicitly, for
// lines whose texts are part of a documented contract.
#define OVLOG_AT(level, module, unit, function, ...)                                         \
    do {                                                                                     \
        if (::ovlog::OLog::isEnabled(level, module))                                         \
            ::ovlog::OLog::write(level, module, ::ovlog::CallSite{unit, function, __LINE__}, \
                                 ::fmt::format(__VA_ARGS__));                                \
    } while (0)
#define OVLOG(level, module, ...) \
    OVLOG_AT(level, module, ::ovlog::unitName(__FILE__), __func__, __VA_ARGS__)
#define OVLOG_VERBOSE(module, ...) OVLOG(::ovlog::Level::verbose, module, __VA_ARGS__)
#define OVLOG_DEBUG(module, ...) OVLOG(::ovlog::Level::debug, module, __VA_ARGS__)
#define OVLOG_WARNING(module, ...) OVLOG(::ovlog::Level::warning, module, __VA_ARGS__)
#define OVLOG_ERROR(module, ...) OVLOG(::ovlog::Level::error, module, __VA_ARGS__)
