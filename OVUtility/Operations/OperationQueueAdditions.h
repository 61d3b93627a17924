// Additions to ov::OperationQueue used by the task framework:
//
//   auto cb = ov::sharedCallBackQueue();          // one serial, background queue per process
//   size_t n = ov::incompleteOperationCount(*queue);   // operations not yet finished
//   ov::addSafeOperationTask(*queue, task);       // wraps the task in a SafeOperation
//
// The shared callback queue runs completion callbacks and handed-over state
// transitions of every operation that uses it, one at a time, in order.
#pragma once

#include <cstddef>
#include <memory>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OperationQueue;
class OperationTask;

OV_API std::shared_ptr<OperationQueue> sharedCallBackQueue();
OV_API std::size_t incompleteOperationCount(const OperationQueue& queue);
OV_API void addSafeOperationTask(OperationQueue& queue, std::shared_ptr<OperationTask> task);

}  // namespace ov
