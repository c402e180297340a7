#include "host/headless/HeadlessUserInterface.h"

#include <algorithm>

int HeadlessUserInterface::MessageBox(const WStr& text, const WStr& title, unsigned style) {
    int answer = 0;
    if (!messageAnswers.empty()) {
        answer = messageAnswers.front();
        messageAnswers.pop_front();
    } else if (onMessage) {
        answer = onMessage(text, title, style);
    } else {
        answer = (style & MB_BUTTONS_MASK) == MB_YESNO ? IDNO : IDOK;
    }
    messages.push_back({text, title, style, answer});
    return answer;
}

void HeadlessUserInterface::PushTempPrompt(const WStr& text, int) {
    if (prompts.size() == kKeptPrompts)
        prompts.pop_front();
    prompts.push_back(text);
    currentPrompt = text;
    if (onPrompt)
        onPrompt(&text);
}

void HeadlessUserInterface::RemoveTempPrompt() {
    currentPrompt = WStr();
    if (onPrompt)
        onPrompt(nullptr);
}

bool HeadlessUserInterface::EscapePressed() {
    const int call = escapeChecks++;
    if (std::find(escapeCalls.begin(), escapeCalls.end(), call) != escapeCalls.end())
        return true;
    return onEscape ? onEscape() : false;
}

void HeadlessUserInterface::SetWaitCursor() {
    waitCursor = true;
    ++waitCursors;
}
