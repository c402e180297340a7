// The headless listener: keeps what is printed, and hands each piece to a sink when one is set
// (the Python module writes it to sys.stdout, a tool to its standard output).
#pragma once

#include "host/Listener.h"

#include <functional>

class HeadlessListener final : public Listener {
public:
    using Sink = std::function<void(const WStr& text)>;

    void Print(const WStr& text) override {
        if (sink)
            sink(text);
        else
            printed += text;
    }
    void SetSink(Sink s) { sink = std::move(s); }
    // What was printed while no sink was set.
    const WStr& Text() const { return printed; }
    void Clear() { printed = WStr(); }

private:
    Sink sink;
    WStr printed;
};
