// Lower-casing of single characters, the same on every machine and in every locale.
//
// Covers the cased letters of Latin (ASCII, Latin-1, Latin Extended-A), Greek and
// Cyrillic with their simple one-to-one mappings; every other character maps to itself.
// The C library's towlower is not used because its answer depends on the process locale,
// and a name filter or a script keyword must not change meaning with it.
#pragma once

namespace wkhost {

wchar_t ToLowerChar(wchar_t c);

} // namespace wkhost
