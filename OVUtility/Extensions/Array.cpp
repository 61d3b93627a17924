#include "OVUtility/Extensions/Array.h"

#include "OVLog/OVLog.h"

namespace ov::array_detail {

void logInvalidChunkSize(long long size) {
    static ovlog::Module& module = ovlog::Module::named("OVUtility");
    OVLOG_ERROR(module,
                "arrayBySplittingItemsIntoChunksOf: chunk size {} is below 1; returning one chunk",
                size);
}

}  // namespace ov::array_detail
