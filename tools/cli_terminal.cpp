#include "tools/cli_terminal.h"

#include "host/headless/PanelDriver.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <iterator>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace wkcli {

namespace {

std::atomic<bool> ctrlC{false};

extern "C" void onInterrupt(int) {
    ctrlC.store(true);
}

// Ctrl-C, and the requests to stop that a closed terminal or a kill send: each cancels like
// Escape, so that no unfinished file stays behind.
constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};
struct sigaction previousHandlers[3];
struct termios savedTerminal;
bool terminalSaved = false;

std::string narrow(const WStr& text) {
    return text.ToCStr().str();
}

} // namespace

TerminalSession::TerminalSession(HeadlessUserInterface& ui_, HeadlessPanelHost& panels_)
    : ui(ui_), panels(panels_), stdinTerminal(isatty(STDIN_FILENO) == 1),
      stderrTerminal(isatty(STDERR_FILENO) == 1) {
    ctrlC.store(false);
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // no restart: a read that waits for an answer ends at Ctrl-C
    for (std::size_t i = 0; i < std::size(kStopSignals); ++i)
        sigaction(kStopSignals[i], &action, &previousHandlers[i]);

    ui.SetMessageHandler([this](const WStr& text, const WStr& title, unsigned style) {
        return messageBox(narrow(text), narrow(title), style);
    });
    panels.SetFileDialogHandler([this](PanelDriver& dialog) {
        std::string name = narrow(dialog.text(kFileDialogNameEdit));
        if (!saveDialog(narrow(dialog.window(kFileDialogNameEdit).Title()), name, "wkc"))
            return;
        dialog.type(kFileDialogNameEdit, WStr::FromUTF8(name));
        dialog.press(IDC_OK);
    });
    ui.SetEscapeHandler([this] { return escapePressed(); });
    ui.SetPromptHandler([this](const WStr* text) {
        if (text == nullptr)
            endProgress();
    });
}

TerminalSession::~TerminalSession() {
    endProgress();
    keyWatch(false);
    ui.SetMessageHandler(nullptr);
    panels.SetFileDialogHandler(nullptr);
    ui.SetEscapeHandler(nullptr);
    ui.SetPromptHandler(nullptr);
    for (std::size_t i = 0; i < std::size(kStopSignals); ++i)
        sigaction(kStopSignals[i], &previousHandlers[i], nullptr);
}

bool TerminalSession::interrupted() const {
    return ctrlC.load() || escapeSeen;
}

bool TerminalSession::cancelled() {
    return escapePressed();
}

void TerminalSession::keyWatch(bool on) {
    if (!stdinTerminal || on == watching)
        return;
    if (on) {
        if (tcgetattr(STDIN_FILENO, &savedTerminal) != 0)
            return;
        terminalSaved = true;
        struct termios keys = savedTerminal;
        // Keys arrive one by one and are not echoed; Ctrl-C still raises the signal.
        keys.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
        keys.c_cc[VMIN] = 0;
        keys.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    } else if (terminalSaved) {
        tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
        terminalSaved = false;
    }
    watching = on;
}

bool TerminalSession::escapePressed() {
    if (ctrlC.load() || escapeSeen)
        return true;
    keyWatch(true);
    if (!watching)
        return false;
    struct pollfd input {
        STDIN_FILENO, POLLIN, 0
    };
    while (poll(&input, 1, 0) > 0 && (input.revents & POLLIN) != 0) {
        char keys[64];
        const ssize_t n = read(STDIN_FILENO, keys, sizeof keys);
        if (n <= 0)
            break;
        // A lone Escape; the keys that send sequences starting with it (arrows) do not count.
        if (n == 1 && keys[0] == '\x1b')
            escapeSeen = true;
    }
    return escapeSeen;
}

void TerminalSession::showProgress(const std::string& stage, long long done, long long total) {
    if (!stderrTerminal)
        return;
    const double fraction =
        total > 0 ? std::clamp(static_cast<double>(done) / total, 0.0, 1.0) : 0.0;
    const int percent = static_cast<int>(std::floor(fraction * 100.0 + 0.5));
    if (barShown && percent == barPercent && stage == barStage)
        return;
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(fraction * kWidth);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kWidth, '.');
    std::fprintf(stderr, "\r\033[K%s [%s] %3d%%", stage.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
    barShown = true;
    barPercent = percent;
    barStage = stage;
}

void TerminalSession::endProgress() {
    if (!barShown)
        return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    barShown = false;
    barPercent = -1;
}

bool TerminalSession::askLine(const std::string& prompt, std::string& line) {
    endProgress();
    keyWatch(false);
    std::cerr << prompt << std::flush;
    if (ctrlC.load() || !std::getline(std::cin, line)) {
        std::cin.clear();
        std::cerr << '\n';
        return false;
    }
    return true;
}

int TerminalSession::messageBox(const std::string& text, const std::string& title, unsigned style) {
    endProgress();
    std::cerr << "wkcache: " << title << ' ' << text << '\n';
    if ((style & MB_BUTTONS_MASK) != MB_YESNO)
        return IDOK;
    std::string answer;
    if (!stdinTerminal || !askLine("[y/N] ", answer))
        return IDNO;
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y') ? IDYES : IDNO;
}

bool TerminalSession::saveDialog(const std::string& title, std::string& fileName,
                                 const std::string& extension) {
    if (!stdinTerminal) {
        endProgress();
        std::cerr << "wkcache: " << title
                  << ": no terminal to ask for a file name on; name the file with -o\n";
        return false;
    }
    std::string answer;
    if (!askLine(title + " [" + fileName + "]: ", answer))
        return false;
    if (!answer.empty()) {
        // As a file dialog does: a name typed without an extension gets the default one.
        const std::size_t leaf = answer.find_last_of('/') + 1;
        if (answer.find('.', leaf) == std::string::npos && !extension.empty())
            answer += "." + extension;
        fileName = answer;
    }
    return true;
}

} // namespace wkcli
