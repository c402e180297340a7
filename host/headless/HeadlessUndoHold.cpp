#include "host/headless/HeadlessUndoHold.h"

// Records may refer to what the scene holds; the scene ends before the hold (see
// HeadlessHost), and a record only frees what it owns.
HeadlessUndoHold::~HeadlessUndoHold() = default;

void HeadlessUndoHold::Put(std::unique_ptr<RestoreObj> record) {
    if (Holding() && record)
        open.push_back(std::move(record));
}

void HeadlessUndoHold::Accept(const WStr& name) {
    if (depth == 0)
        return;
    if (--depth > 0)
        return;
    if (open.empty())
        return;
    for (auto& record : open)
        record->EndHold();
    undoSteps.push_back({name, std::move(open)});
    open.clear();
    redoSteps.clear();
}

void HeadlessUndoHold::Cancel() {
    if (depth == 0)
        return;
    --depth;
    restoring = true;
    for (auto it = open.rbegin(); it != open.rend(); ++it)
        (*it)->Restore(false);
    restoring = false;
    for (auto& record : open)
        record->EndHold();
    open.clear();
}

void HeadlessUndoHold::Resume() {
    if (suspended > 0)
        --suspended;
}

bool HeadlessUndoHold::Undo() {
    if (undoSteps.empty())
        return false;
    Step step = std::move(undoSteps.back());
    undoSteps.pop_back();
    restoring = true;
    for (auto it = step.records.rbegin(); it != step.records.rend(); ++it)
        (*it)->Restore(true);
    restoring = false;
    redoSteps.push_back(std::move(step));
    return true;
}

bool HeadlessUndoHold::Redo() {
    if (redoSteps.empty())
        return false;
    Step step = std::move(redoSteps.back());
    redoSteps.pop_back();
    restoring = true;
    for (auto& record : step.records)
        record->Redo();
    restoring = false;
    undoSteps.push_back(std::move(step));
    return true;
}
