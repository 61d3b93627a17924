// Priorities and qualities of service of tasks.
//
// - PriorityValue: anything with an integer value; operation queues of the
//   task manager are keyed by it.
// - TaskPriority: the five standard priorities, equal to the platform's
//   operation queue priorities (veryLow -8, low -4, medium 0, high 4, veryHigh 8).
// - TaskQualityOfService: raw values 0...4, bridged to the platform's
//   qualities of service by a fixed table (note: raw 2 maps to the platform's
//   "default", -1, which the platform ranks between utility and
//   user-initiated; the table is intentional).
//
//   ov::TaskPriority p = ov::TaskPriority::high;          // p.intValue() == 4
//   auto none = ov::TaskPriority::fromRawValue(2);        // std::nullopt
//   std::shared_ptr<const ov::PriorityValue> v = ov::TaskPriority::shared(ov::TaskPriority::low);
//   ov::QualityOfService q = ov::bridgeValue(ov::TaskQualityOfService::medium);  // defaultQoS
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "OVUtility/OVUtilityExport.h"
#include "OVUtility/Platform/QualityOfService.h"

namespace ov {

class OV_API PriorityValue {
  public:
    virtual ~PriorityValue() = default;
    virtual int intValue() const = 0;
};

class OV_API TaskPriority final : public PriorityValue {
  public:
    enum Case : int { veryLow = -8, low = -4, medium = 0, high = 4, veryHigh = 8 };

    constexpr TaskPriority(Case value) noexcept : value_(value) {}  // NOLINT: implicit by design

    // The case with this raw value; nullopt for anything but -8, -4, 0, 4, 8.
    static constexpr std::optional<TaskPriority> fromRawValue(int raw) {
        if (raw + 8 < 0 || (raw + 8) % 4 != 0 || (raw + 8) / 4 >= 5) return std::nullopt;
        return TaskPriority(static_cast<Case>(raw));
    }
    // A shared, never-destroyed instance per case, for PriorityValue slots.
    static std::shared_ptr<const PriorityValue> shared(Case value);

    constexpr Case value() const { return value_; }
    constexpr int rawValue() const { return value_; }
    int intValue() const override { return value_; }
    // 0 for veryLow ... 4 for veryHigh.
    constexpr int caseIndex() const { return (value_ + 8) / 4; }
    // The platform operation queue priority: 4 x caseIndex - 8 (equal to the raw value).
    constexpr int queuePriority() const { return 4 * caseIndex() - 8; }

    friend constexpr bool operator==(TaskPriority a, TaskPriority b) {
        return a.value_ == b.value_;
    }

  private:
    Case value_;
};

enum class TaskQualityOfService : int { veryLow = 0, low = 1, medium = 2, high = 3, veryHigh = 4 };

constexpr int rawValue(TaskQualityOfService qos) {
    return static_cast<int>(qos);
}

// The case with this raw value; nullopt outside 0...4.
constexpr std::optional<TaskQualityOfService> taskQualityOfServiceFromRawValue(int raw) {
    if (raw < 0 || raw > 4) return std::nullopt;
    return static_cast<TaskQualityOfService>(raw);
}

// veryLow -> background (9), low -> utility (17), medium -> default (-1),
// high -> user-initiated (25), veryHigh -> user-interactive (33).
constexpr QualityOfService bridgeValue(TaskQualityOfService qos) {
    constexpr QualityOfService table[5] = {
        QualityOfService::background,      QualityOfService::utility,
        QualityOfService::defaultQoS,      QualityOfService::userInitiated,
        QualityOfService::userInteractive,
    };
    return table[static_cast<int>(qos)];
}

}  // namespace ov

template <>
struct std::hash<ov::TaskPriority> {
    std::size_t operator()(ov::TaskPriority p) const noexcept {
        return std::hash<int>{}(p.rawValue());
    }
};
