#include "host/CaseMap.h"

namespace wkhost {

namespace {

bool inRange(wchar_t c, wchar_t lo, wchar_t hi) {
    return c >= lo && c <= hi;
}

// Latin Extended-A lays out most pairs as (upper, lower) at (even, odd) or, in two runs,
// at (odd, even).
wchar_t latinExtendedA(wchar_t c) {
    if (inRange(c, 0x0100, 0x012F) || inRange(c, 0x0132, 0x0137) || inRange(c, 0x014A, 0x0177)) {
        return (c % 2 == 0) ? c + 1 : c;
    }
    if (inRange(c, 0x0139, 0x0148) || inRange(c, 0x0179, 0x017E)) {
        return (c % 2 == 1) ? c + 1 : c;
    }
    if (c == 0x0130) {
        return L'i'; // capital I with dot above: the simple mapping drops the dot
    }
    if (c == 0x0178) {
        return 0x00FF; // Y with diaeresis, whose small form sits in Latin-1
    }
    return c;
}

} // namespace

wchar_t ToLowerChar(wchar_t c) {
    if (c < 0x80) {
        return inRange(c, L'A', L'Z') ? c + 32 : c;
    }
    if (inRange(c, 0x00C0, 0x00DE) && c != 0x00D7) { // not the multiplication sign
        return c + 32;
    }
    if (inRange(c, 0x0100, 0x017F)) {
        return latinExtendedA(c);
    }
    if (inRange(c, 0x0391, 0x03AB) && c != 0x03A2) { // Greek capitals, with the gap
        return c + 32;
    }
    if (c == 0x0386) {
        return 0x03AC;
    }
    if (inRange(c, 0x0388, 0x038A)) {
        return c + 37;
    }
    if (c == 0x038C) {
        return 0x03CC;
    }
    if (c == 0x038E || c == 0x038F) {
        return c + 63;
    }
    if (inRange(c, 0x0400, 0x040F)) { // Cyrillic with diacritics: Ѐ..Џ -> ѐ..џ
        return c + 80;
    }
    if (inRange(c, 0x0410, 0x042F)) { // basic Cyrillic capitals
        return c + 32;
    }
    return c;
}

} // namespace wkhost
