#include "host/headless/HeadlessUndoHold.h"

#include <iterator>

// Records may refer to what the scene holds; the scene ends before the hold (see
// HeadlessHost), and a record only frees what it owns.
HeadlessUndoHold::~HeadlessUndoHold() = default;

void HeadlessUndoHold::Put(std::unique_ptr<RestoreObj> record) {
    // What a restore changes is the undoing itself, not a change to hold, also where an outer
    // hold is still open around a cancelled one.
    if (Holding() && !restoring && record)
        open.push_back(std::move(record));
}

void HeadlessUndoHold::Accept(const WStr& name) {
    if (marks.empty())
        return;
    marks.pop_back();
    if (!marks.empty())
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
    if (marks.empty())
        return;
    const auto first = open.begin() + static_cast<std::ptrdiff_t>(marks.back());
    marks.pop_back();
    std::vector<std::unique_ptr<RestoreObj>> cancelled(std::make_move_iterator(first),
                                                       std::make_move_iterator(open.end()));
    open.erase(first, open.end());
    restoring = true;
    for (auto it = cancelled.rbegin(); it != cancelled.rend(); ++it)
        (*it)->Restore(false);
    restoring = false;
    for (auto& record : cancelled)
        record->EndHold();
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
