// Readable test failure output for the host's strings: their UTF-8 text.
#pragma once

#include "host/Strings.h"

#include <ostream>

inline void PrintTo(const WStr& s, std::ostream* os) {
    *os << '"' << s.ToCStr().str() << '"';
}
inline void PrintTo(const CStr& s, std::ostream* os) {
    *os << '"' << s.str() << '"';
}
