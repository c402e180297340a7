// The host's undo hold: changes made between Begin and Accept are put as restore records and
// become one named undo step.
#pragma once

#include "host/Strings.h"

#include <memory>

// One undoable change; the core implements it for the changes it makes.
class RestoreObj {
public:
    virtual ~RestoreObj() = default;
    // Puts the state from before the change back. isUndo is true for a user's undo.
    virtual void Restore(bool isUndo) = 0;
    // Makes the change again after a Restore.
    virtual void Redo() = 0;
    // The hold that took the record has been accepted or cancelled.
    virtual void EndHold() {}
    // What the host's undo list shows of the record: its size in bytes and a description.
    virtual int Size() const { return 0; }
    virtual WStr Description() const { return WStr(); }
};

class UndoHold {
public:
    virtual ~UndoHold() = default;

    // Opens a hold; holds nest.
    virtual void Begin() = 0;
    // Whether records put now are kept: a hold is open and not suspended.
    virtual bool Holding() const = 0;
    // Hands a record to the hold; dropped when not Holding().
    virtual void Put(std::unique_ptr<RestoreObj> record) = 0;
    // Closes the hold. The records of the outermost one become an undo step of this name; a
    // hold with no records leaves no step.
    virtual void Accept(const WStr& name) = 0;
    // Closes the hold and restores what it held, newest record first; a nested hold restores
    // only the records put since its own Begin.
    virtual void Cancel() = 0;
    // Stop and restart the keeping of records; they nest.
    virtual void Suspend() = 0;
    virtual void Resume() = 0;
    // Whether an undo or redo is running.
    virtual bool RestoreOrRedoing() const = 0;
};

// Keeps the hold suspended for its lifetime, or until resume(); resumes it if an exception
// leaves early, so a failure cannot leave the host without undo.
class SuspendedHold {
public:
    explicit SuspendedHold(UndoHold& hold_) : hold(hold_) { hold.Suspend(); }
    ~SuspendedHold() {
        if (suspended)
            hold.Resume();
    }
    SuspendedHold(const SuspendedHold&) = delete;
    SuspendedHold& operator=(const SuspendedHold&) = delete;
    void resume() {
        if (suspended)
            hold.Resume();
        suspended = false;
    }

private:
    UndoHold& hold;
    bool suspended = true;
};
