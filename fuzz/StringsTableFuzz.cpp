// libFuzzer target: the strings-table parser must never crash, hang or
// read out of bounds, whatever the bytes; a successful parse must be
// self-consistent.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "OVUtility/Platform/StringsTable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto result = ov::StringsTable::parse(text, "fuzz.strings");
    if (result.table.has_value() == result.error.has_value()) std::abort();
    if (result.table) {
        for (const auto& entry : result.table->entries()) {
            if (!result.table->value(entry.key)) std::abort();
            if (entry.line < 1) std::abort();
        }
    } else if (result.error->line < 1 || result.error->reason.empty()) {
        std::abort();
    }
    return 0;
}
