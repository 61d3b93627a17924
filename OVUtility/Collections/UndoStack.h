// UndoStack / UndoableOperation: a stack of undo closures, oldest first.
//
//   ov::UndoStack stack;
//   stack.registerUndo("rename", [&] { name = oldName; });
//   stack.registerUndo([&] { volume = 3; });     // "No description"
//   stack.rollback();                            // newest first, depth 0 after
//
// `rollback` removes the newest operation before running it and re-reads
// the depth after every run, so an operation registered by an undo block
// during a rollback is rolled back in the same call.
// (`register` is a reserved word in C++, hence `registerUndo`.)
// No locking: confine an instance to one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "OVUtility/Collections/Deque.h"
#include "OVUtility/OVUtilityExport.h"

namespace ov {

class UndoableOperation {
  public:
    using Block = std::function<void()>;

    static std::shared_ptr<UndoableOperation> make(std::string description, Block block) {
        return std::make_shared<UndoableOperation>(std::move(description), std::move(block));
    }
    UndoableOperation(std::string description, Block block)
        : description_(std::move(description)), block_(std::move(block)) {}

    const std::string& description() const { return description_; }
    void undo() const {
        if (block_) block_();
    }

  private:
    std::string description_;
    Block block_;
};

class OV_API UndoStack {
  public:
    UndoStack() = default;

    std::int64_t depth() const { return operations_.count(); }

    void registerUndo(std::shared_ptr<UndoableOperation> operation);
    void registerUndo(std::string description, UndoableOperation::Block block);
    // Registers with the description "No description".
    void registerUndo(UndoableOperation::Block block);

    // Discards the oldest operation without running it.
    void dropFirst();
    // Discards every operation without running any.
    void dropAll();
    // Runs every operation, newest first, removing each before it runs.
    void rollback();

    // "UndoStack:\n  Depth: <n>\n  Deque:\n    DoublyLinkedList: [...]"
    std::string description() const;

  private:
    Deque<std::shared_ptr<UndoableOperation>> operations_;
};

}  // namespace ov
