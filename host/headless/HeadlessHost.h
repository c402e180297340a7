// The headless host: every host service implemented in-process, for tools and tests.
//
// Its accessors return the concrete headless services, so whoever holds the HeadlessHost can
// script them (host.Time().SetFrameRate(25)) while the core, through GetHost(), sees only the
// abstract interfaces. Install it with ScopedHost.
#pragma once

#include "host/Host.h"
#include "host/headless/HeadlessTime.h"

class HeadlessHost final : public Host {
public:
    HeadlessTime& Time() override { return clock; }

private:
    HeadlessTime clock;
};
