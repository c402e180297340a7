#include "playback/wkCacheProgress.h"

#include "host/Host.h"

#include <chrono>

namespace {

double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Long enough that quick operations never flicker the cursor.
constexpr double kWaitCursorDelay = 1.0;

} // namespace

wkCacheProgress::wkCacheProgress() : clock(steadySeconds) {}

wkCacheProgress::wkCacheProgress(Clock clock_) : clock(std::move(clock_)) {}

void wkCacheProgress::begin() {
    ui = &GetHost().UI();
    started = clock();
    cancelledFlag = false;
    cursorSaved = false;
    // A press that happened before the operation is not meant for it.
    (void)ui->EscapePressed();
}

bool wkCacheProgress::step() {
    if (ui == nullptr)
        ui = &GetHost().UI();
    if (ui->EscapePressed()) {
        cancelledFlag = true;
        return false;
    }
    if (cursorSaved)
        return true;
    if (clock() - started > kWaitCursorDelay) {
        ui->SetWaitCursor();
        cursorSaved = true;
    }
    ui->PumpTimerMessages();
    return true;
}

void wkCacheProgress::end() {
    if (ui != nullptr && cursorSaved)
        ui->RestoreCursor();
    cancelledFlag = false;
    cursorSaved = false;
    ui = nullptr;
}
