#include "OVUtility/Collections/CircularData.h"

#include <algorithm>

#include "OVLog/OVLog.h"

namespace ov {

namespace {
std::size_t checkedCapacity(std::int64_t byteCount) {
    if (byteCount >= 0) return static_cast<std::size_t>(byteCount);
    static ovlog::Module& module = ovlog::Module::named("Collections");
    OVLOG_AT(ovlog::Level::warning, module, "CircularData", "init(byteCount:)",
             "negative capacity {} treated as 0", byteCount);
    return 0;
}
}  // namespace

CircularData::CircularData(std::int64_t byteCount) : data_(checkedCapacity(byteCount), 0) {}

void CircularData::append(std::span<const std::uint8_t> bytes) {
    const std::size_t c = data_.size();
    while (!bytes.empty()) {
        const std::size_t n = bytes.size();
        if (n >= c) {
            // Only the last `c` bytes can survive: replace the whole buffer.
            std::copy(bytes.end() - static_cast<std::ptrdiff_t>(c), bytes.end(), data_.begin());
            tail_ = 0;
            isFull_ = true;
            return;
        }
        const std::size_t tail = static_cast<std::size_t>(tail_);
        const std::size_t room = c - tail;
        if (n <= room) {
            // The write position may reach `c` here without wrapping; the next
            // append (room 0) wraps it, and getData reads it consistently.
            std::copy(bytes.begin(), bytes.end(),
                      data_.begin() + static_cast<std::ptrdiff_t>(tail));
            tail_ += static_cast<std::int64_t>(n);
            return;
        }
        std::copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(room),
                  data_.begin() + static_cast<std::ptrdiff_t>(tail));
        tail_ = 0;
        isFull_ = true;
        bytes = bytes.subspan(room);
    }
}

std::vector<std::uint8_t> CircularData::getData() const {
    const auto split = data_.begin() + static_cast<std::ptrdiff_t>(tail_);
    if (!isFull_) return std::vector<std::uint8_t>(data_.begin(), split);
    std::vector<std::uint8_t> out;
    out.reserve(data_.size());
    out.insert(out.end(), split, data_.end());
    out.insert(out.end(), data_.begin(), split);
    return out;
}

}  // namespace ov
