// What long operations and interactive paths need of the host's user interface: message
// boxes, the temporary prompt of the status line, the Escape key, the message pump and the wait
// cursor. The file dialogs are the command panel's (host/PanelControls.h).
#pragma once

#include "host/Strings.h"

// Message box styles (buttons in the low bits, the icon above them) and answers.
inline constexpr unsigned MB_OK = 0x0;
inline constexpr unsigned MB_YESNO = 0x4;
inline constexpr unsigned MB_ICONERROR = 0x10;
inline constexpr unsigned MB_ICONEXCLAMATION = 0x30;
inline constexpr unsigned MB_BUTTONS_MASK = 0xF;
enum MessageBoxAnswer : int { IDOK = 1, IDCANCEL = 2, IDYES = 6, IDNO = 7 };

class UserInterface {
public:
    virtual ~UserInterface() = default;

    // Shows a modal message and answers the button chosen (IDOK, IDYES, IDNO, ...).
    virtual int MessageBox(const WStr& text, const WStr& title, unsigned style) = 0;

    // A prompt in the status line that goes away by itself after `milliseconds`, or when
    // removed.
    virtual void PushTempPrompt(const WStr& text, int milliseconds) = 0;
    virtual void RemoveTempPrompt() = 0;

    // Whether Escape is held down now (the user wants a long operation to stop).
    virtual bool EscapePressed() = 0;
    // Dispatches the pending timer messages, so the interface stays alive during a long
    // operation without letting anything else in.
    virtual void PumpTimerMessages() = 0;
    virtual void SetWaitCursor() = 0;
    virtual void RestoreCursor() = 0;
    // Redraws every view now; doDisabled 1 includes the views whose redraw is switched off.
    virtual void ForceCompleteRedraw(int doDisabled) = 0;
};
