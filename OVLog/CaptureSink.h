// CaptureSink: an OVLog sink that keeps every written line in memory, so that
// tests can assert on exact log texts, levels, modules and call sites.
//
//   auto capture = ovlog::CaptureSink::attach();   // detaches when `capture` ends
//   doSomething();
//   EXPECT_EQ(capture->messages("OperationTask"), (std::vector<std::string>{"..."}));
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/sinks/base_sink.h>

#include "OVLog/OVLog.h"
#include "OVLog/OVLogExport.h"

namespace ovlog {

struct OVLOG_API Record {
    Level level = Level::verbose;
    std::string module;
    std::string unit;
    std::string function;
    int line = 0;
    std::string message;
};

class OVLOG_API CaptureSink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    // A guard that adds a new capture sink and removes it when destroyed.
    class Attachment {
      public:
        explicit Attachment(std::shared_ptr<CaptureSink> sink) : sink_(std::move(sink)) {}
        ~Attachment();
        Attachment(Attachment&&) noexcept = default;
        Attachment& operator=(Attachment&&) noexcept = default;
        CaptureSink* operator->() const { return sink_.get(); }
        CaptureSink& operator*() const { return *sink_; }

      private:
        std::shared_ptr<CaptureSink> sink_;
    };

    [[nodiscard]] static Attachment attach();

    std::vector<Record> records() const;
    // Messages of one module (all modules when `module` is empty), in order.
    std::vector<std::string> messages(std::string_view module = {}) const;
    // Number of lines whose message starts with `prefix`.
    size_t countStartingWith(std::string_view prefix) const;
    void clear();

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override;
    void flush_() override {}

  private:
    mutable std::mutex recordsMutex_;
    std::vector<Record> records_;
};

}  // namespace ovlog
