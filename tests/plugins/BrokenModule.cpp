// Modules that a host must refuse: built once without LibShutdown (BROKEN_NO_SHUTDOWN) and once
// answering another version (BROKEN_VERSION).
#include "host/ClassDesc.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT const wchar_t* LibDescription() {
    return L"Broken";
}
EXPORT int LibNumberClasses() {
    return 0;
}
EXPORT ClassDesc2* LibClassDesc(int) {
    return nullptr;
}
EXPORT unsigned long LibVersion() {
    return BROKEN_VERSION;
}
EXPORT int LibInitialize() {
    return 1;
}
#ifndef BROKEN_NO_SHUTDOWN
EXPORT int LibShutdown() {
    return 1;
}
#endif
