// The headless undo hold: named undo steps on a stack, with undo and redo for tests to drive.
#pragma once

#include "host/UndoHold.h"

#include <memory>
#include <vector>

class HeadlessUndoHold final : public UndoHold {
public:
    ~HeadlessUndoHold() override;

    void Begin() override;
    bool Holding() const override { return depth > 0 && suspended == 0; }
    void Put(std::unique_ptr<RestoreObj> record) override;
    // Accept or Cancel without an open hold does nothing. A nested Cancel restores only the
    // records put since its own Begin; a nested Accept leaves them to the hold around it.
    void Accept(const WStr& name) override;
    void Cancel() override;
    void Suspend() override { ++suspended; }
    // A Resume without a Suspend does nothing.
    void Resume() override;
    bool RestoreOrRedoing() const override { return restoring; }

    // ---- For tests
    int Depth() const { return depth; }
    bool IsSuspended() const { return suspended > 0; }
    int NumUndoSteps() const { return static_cast<int>(undoSteps.size()); }
    int NumRedoSteps() const { return static_cast<int>(redoSteps.size()); }
    // Name of undo step i, 0 the oldest.
    const WStr& UndoStepName(int i) const { return undoSteps[static_cast<std::size_t>(i)].name; }
    // Undoes the newest step (false without one) and makes it redoable.
    bool Undo();
    bool Redo();

private:
    struct Step {
        WStr name;
        std::vector<std::unique_ptr<RestoreObj>> records;
    };

    int depth = 0;
    int suspended = 0;
    bool restoring = false;
    std::vector<std::unique_ptr<RestoreObj>> open;
    // For each open hold, outermost first, the count of records in `open` at its Begin.
    std::vector<std::size_t> holdStarts;
    // Moves the last step of `from` to `to`, replaying its records on the way; false when
    // `from` is empty.
    template <class Replay>
    bool replayStep(std::vector<Step>& from, std::vector<Step>& to, Replay&& replay);

    std::vector<Step> undoSteps;
    std::vector<Step> redoSteps;
};
