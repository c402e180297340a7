// The headless user interface: everything shown is recorded, and every answer comes from a
// script or a handler.
//
// Tests queue the answers of message boxes and say at which call Escape is down; tools install
// handlers that ask on the terminal. An answer is taken from the queue first, then from the
// handler; without either, a message box answers the choice that changes nothing (OK, or No for
// a question), and Escape is up.
#pragma once

#include "host/UserInterface.h"

#include <deque>
#include <functional>
#include <vector>

class HeadlessUserInterface final : public UserInterface {
public:
    struct Message {
        WStr text;
        WStr title;
        unsigned style = 0;
        int answer = 0;
    };
    using MessageHandler = std::function<int(const WStr& text, const WStr& title, unsigned style)>;
    using EscapeHandler = std::function<bool()>;
    // Called with the text of each prompt, and with null when the prompt is taken away.
    using PromptHandler = std::function<void(const WStr* text)>;

    // ---- UserInterface
    int MessageBox(const WStr& text, const WStr& title, unsigned style) override;
    void PushTempPrompt(const WStr& text, int milliseconds) override;
    void RemoveTempPrompt() override;
    bool EscapePressed() override;
    void PumpTimerMessages() override { ++timerPumps; }
    void SetWaitCursor() override;
    void RestoreCursor() override { waitCursor = false; }
    void ForceCompleteRedraw(int) override { ++redraws; }

    // ---- Scripting
    void QueueMessageBoxAnswer(int answer) { messageAnswers.push_back(answer); }
    // Escape is down at exactly this call of EscapePressed, counted from 0.
    void PressEscapeAt(int call) { escapeCalls.push_back(call); }
    void SetMessageHandler(MessageHandler handler) { onMessage = std::move(handler); }
    void SetEscapeHandler(EscapeHandler handler) { onEscape = std::move(handler); }
    void SetPromptHandler(PromptHandler handler) { onPrompt = std::move(handler); }

    // ---- What was shown
    const std::vector<Message>& Messages() const { return messages; }
    // The prompts pushed, in order: the last kKeptPrompts of them, since a recording or an explode
    // pushes one at every progress step and a long session would keep them all.
    static constexpr std::size_t kKeptPrompts = 256;
    const std::deque<WStr>& Prompts() const { return prompts; }
    // The prompt showing now, empty when none.
    const WStr& CurrentPrompt() const { return currentPrompt; }
    int EscapeChecks() const { return escapeChecks; }
    int TimerPumps() const { return timerPumps; }
    bool WaitCursorUp() const { return waitCursor; }
    int WaitCursorCount() const { return waitCursors; }
    int CompleteRedraws() const { return redraws; }

private:
    std::deque<int> messageAnswers;
    std::vector<int> escapeCalls;
    MessageHandler onMessage;
    EscapeHandler onEscape;
    PromptHandler onPrompt;

    std::vector<Message> messages;
    std::deque<WStr> prompts;
    WStr currentPrompt;
    int escapeChecks = 0;
    int timerPumps = 0;
    bool waitCursor = false;
    int waitCursors = 0;
    int redraws = 0;
};
