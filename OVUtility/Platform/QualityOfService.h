// ov::QualityOfService: the platform's qualities of service for queues and
// operations, with the platform's raw values (background 9, utility 17,
// default -1, user-initiated 25, user-interactive 33; unspecified 0).
// Queues map them to a scheduling class of the shared worker pool and to
// nice values of its threads; ordering between queues never depends on them.
#pragma once

#include <string_view>

namespace ov {

enum class QualityOfService : int {
    unspecified = 0,
    background = 9,
    utility = 17,
    defaultQoS = -1,
    userInitiated = 25,
    userInteractive = 33,
};

constexpr std::string_view toString(QualityOfService qos) {
    switch (qos) {
        case QualityOfService::unspecified:
            return "unspecified";
        case QualityOfService::background:
            return "background";
        case QualityOfService::utility:
            return "utility";
        case QualityOfService::defaultQoS:
            return "default";
        case QualityOfService::userInitiated:
            return "userInitiated";
        case QualityOfService::userInteractive:
            return "userInteractive";
    }
    return "unknown";
}

}  // namespace ov
