// The terminal side of the wkcache tool while it drives the headless host: the host's message
// boxes and save dialog asked on the terminal, Escape and Ctrl-C as the host's Escape key, and
// a progress bar on stderr.
//
// Ctrl-C (and Escape, when stdin is a terminal; and SIGTERM and SIGHUP) counts as the Escape key
// held down for the rest of the run: a stage that may be cancelled stops at its next progress step;
// a stage that may not (the scene analysis) runs on, and the stage after it stops at once. So no
// press is lost, and nothing unfinished is left behind.
//
// Without a terminal on stdin nothing is asked: a yes/no question answers No and the save
// dialog is cancelled. Without a terminal on stderr no progress is drawn.
#pragma once

#include "host/headless/HeadlessPanels.h"
#include "host/headless/HeadlessUserInterface.h"

#include <string>

namespace wkcli {

class TerminalSession {
public:
    // Installs the handlers on `ui` and the Ctrl-C handler; the destructor puts back what was.
    TerminalSession(HeadlessUserInterface& ui, HeadlessPanelHost& panels);
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    // Whether Ctrl-C or Escape was pressed during the session, as far as seen: Escape is seen
    // only when a stage asks for the key (or cancelled() looks).
    bool interrupted() const;
    // interrupted(), after reading the keys typed since the last look: what a command asks
    // between its own steps (frames, pictures) and after a stage that may not have looked.
    bool cancelled();

    // Draws the bar of a stage ("Writing Cache") at done of total; redraws only when the shown
    // percentage changes.
    void showProgress(const std::string& stage, long long done, long long total);
    // Takes the bar away.
    void endProgress();

private:
    int messageBox(const std::string& text, const std::string& title, unsigned style);
    bool saveDialog(const std::string& title, std::string& fileName, const std::string& extension);
    bool escapePressed();
    // Reads a line in the terminal's normal mode; false at the end of input or on Ctrl-C.
    bool askLine(const std::string& prompt, std::string& line);
    void keyWatch(bool on);

    HeadlessUserInterface& ui;
    HeadlessPanelHost& panels;
    bool stdinTerminal;
    bool stderrTerminal;
    bool watching = false;
    bool escapeSeen = false;
    bool barShown = false;
    std::string barStage;
    int barPercent = -1;
};

} // namespace wkcli
