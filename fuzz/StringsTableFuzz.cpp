// libFuzzer target: the strings-table parser must never crash, hang or read
// out of bounds, whatever the bytes; a successful parse is self-consistent
// and holds valid UTF-8 only, and an error names a line and a reason.
#include "FuzzSupport.h"
#include "OVUtility/Platform/StringsTable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = ovfuzz::text(data, size);
    auto result = ov::StringsTable::parse(text, "fuzz.strings");
    ovfuzz::check(result.table.has_value() != result.error.has_value(), "a table or an error");
    if (result.table) {
        for (const auto& entry : result.table->entries()) {
            ovfuzz::check(result.table->value(entry.key).has_value(), "every key has a value");
            ovfuzz::check(entry.line >= 1, "lines count from 1");
            ovfuzz::check(ovfuzz::isValidUtf8(entry.key) && ovfuzz::isValidUtf8(entry.value),
                          "keys and values are valid UTF-8");
            ovfuzz::check(entry.key.size() <= size && entry.value.size() <= size,
                          "no entry is longer than the file");
        }
    } else {
        ovfuzz::check(result.error->line >= 1 && !result.error->reason.empty(), "error names");
        ovfuzz::check(ovfuzz::isValidUtf8(result.error->description()), "error is valid UTF-8");
    }
    return 0;
}
