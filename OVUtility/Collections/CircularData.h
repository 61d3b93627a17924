// CircularData: a fixed-capacity byte ring that keeps the most recent bytes
// appended to it (for example the tail of a log or a stream).
//
//   ov::CircularData ring(4);
//   ring.append("abc");
//   ring.append("def");
//   ring.getData();             // "cdef" as bytes, oldest first
//
// The ring fills from position 0; once it has wrapped it stays "full" and its
// content is the whole buffer rotated at the write position. An append of the
// capacity or more replaces the whole buffer with the last `capacity` bytes.
// Writes go in place into the one buffer (at most two copies per append).
// A value type with no locking. A negative capacity is treated as 0 (logged).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API CircularData {
  public:
    explicit CircularData(std::int64_t byteCount);

    void append(std::span<const std::uint8_t> bytes);
    void append(std::string_view bytes) {
        append(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                             bytes.size()));
    }

    // The stored bytes, oldest first.
    std::vector<std::uint8_t> getData() const;

    std::size_t capacity() const { return data_.size(); }

  private:
    std::vector<std::uint8_t> data_;
    std::int64_t tail_ = 0;  // where the next byte is written
    bool isFull_ = false;    // set once the ring has wrapped; never cleared
};

}  // namespace ov
