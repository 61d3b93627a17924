#include "OVLog/CaptureSink.h"

namespace ovlog {

namespace {
Level fromSpd(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::trace:
            return Level::verbose;
        case spdlog::level::debug:
        case spdlog::level::info:
            return Level::debug;
        case spdlog::level::warn:
            return Level::warning;
        default:
            return Level::error;
    }
}
}  // namespace

CaptureSink::Attachment::~Attachment() {
    if (sink_) OLog::removeSink(sink_);
}

CaptureSink::Attachment CaptureSink::attach() {
    auto sink = std::make_shared<CaptureSink>();
    OLog::addSink(sink);
    return Attachment(std::move(sink));
}

void CaptureSink::sink_it_(const spdlog::details::log_msg& msg) {
    Record r;
    r.level = fromSpd(msg.level);
    r.module.assign(msg.logger_name.data(), msg.logger_name.size());
    r.unit = msg.source.filename ? msg.source.filename : "";
    r.function = msg.source.funcname ? msg.source.funcname : "";
    r.line = msg.source.line;
    r.message.assign(msg.payload.data(), msg.payload.size());
    std::lock_guard lock(recordsMutex_);
    records_.push_back(std::move(r));
}

std::vector<Record> CaptureSink::records() const {
    std::lock_guard lock(recordsMutex_);
    return records_;
}

std::vector<std::string> CaptureSink::messages(std::string_view module) const {
    std::lock_guard lock(recordsMutex_);
    std::vector<std::string> out;
    for (const auto& r : records_) {
        if (module.empty() || r.module == module) out.push_back(r.message);
    }
    return out;
}

size_t CaptureSink::countStartingWith(std::string_view prefix) const {
    std::lock_guard lock(recordsMutex_);
    size_t n = 0;
    for (const auto& r : records_) {
        if (std::string_view(r.message).substr(0, prefix.size()) == prefix) ++n;
    }
    return n;
}

void CaptureSink::clear() {
    std::lock_guard lock(recordsMutex_);
    records_.clear();
}

}  // namespace ovlog
