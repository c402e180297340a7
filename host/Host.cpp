#include "host/Host.h"

#include <stdexcept>

namespace {

// Main thread only, like every host call.
Host* installedHost = nullptr;

} // namespace

Host& GetHost() {
    if (installedHost == nullptr)
        throw std::logic_error("no host installed: install one with ScopedHost");
    return *installedHost;
}

ScopedHost::ScopedHost(Host& host) : previous(installedHost) {
    installedHost = &host;
}

ScopedHost::~ScopedHost() {
    installedHost = previous;
}
