#include "OVUtility/Collections/UndoStack.h"

#include <string>
#include <utility>

namespace ov {

void UndoStack::registerUndo(std::shared_ptr<UndoableOperation> operation) {
    operations_.addLast(std::move(operation));
}

void UndoStack::registerUndo(std::string description, UndoableOperation::Block block) {
    registerUndo(UndoableOperation::make(std::move(description), std::move(block)));
}

void UndoStack::registerUndo(UndoableOperation::Block block) {
    registerUndo("No description", std::move(block));
}

void UndoStack::dropFirst() {
    operations_.popFirst();
}

void UndoStack::dropAll() {
    operations_ = Deque<std::shared_ptr<UndoableOperation>>();
}

void UndoStack::rollback() {
    while (depth() > 0) {
        auto operation = operations_.popLast();
        if (operation && *operation) (*operation)->undo();
    }
}

std::string UndoStack::description() const {
    return "UndoStack:\n  Depth: " + std::to_string(depth()) + "\n  " + operations_.description();
}

}  // namespace ov
