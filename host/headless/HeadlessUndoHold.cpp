#include "host/headless/HeadlessUndoHold.h"

// Records may refer to what the scene holds; the scene ends before the hold (see
// HeadlessHost), and a record only frees what it owns.
HeadlessUndoHold::~HeadlessUndoHold() = default;

void HeadlessUndoHold::Put(std::unique_ptr<RestoreObj> record) {
    if (Holding() && record)
        open.push_back(std::move(record));
}

void HeadlessUndoHold::Begin() {
    ++depth;
    holdStarts.push_back(open.size());
}

void HeadlessUndoHold::Accept(const WStr& name) {
    if (depth == 0)
        return;
    holdStarts.pop_back();
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
    const auto start = open.begin() + static_cast<std::ptrdiff_t>(holdStarts.back());
    holdStarts.pop_back();
    restoring = true;
    for (auto it = open.end(); it != start;)
        (*--it)->Restore(false);
    restoring = false;
    for (auto it = start; it != open.end(); ++it)
        (*it)->EndHold();
    open.erase(start, open.end());
}

void HeadlessUndoHold::Resume() {
    if (suspended > 0)
        --suspended;
}

template <class Replay>
bool HeadlessUndoHold::replayStep(std::vector<Step>& from, std::vector<Step>& to, Replay&& replay) {
    if (from.empty())
        return false;
    Step step = std::move(from.back());
    from.pop_back();
    restoring = true;
    replay(step);
    restoring = false;
    to.push_back(std::move(step));
    return true;
}

bool HeadlessUndoHold::Undo() {
    return replayStep(undoSteps, redoSteps, [](Step& step) {
        for (auto it = step.records.rbegin(); it != step.records.rend(); ++it)
            (*it)->Restore(true);
    });
}

bool HeadlessUndoHold::Redo() {
    return replayStep(redoSteps, undoSteps, [](Step& step) {
        for (auto& record : step.records)
            record->Redo();
    });
}
