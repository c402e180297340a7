// The stored form of an object's group list, the data of its scene-file chunk 0x0200.
//
// Layout, little-endian, floats in IEEE single precision:
//   int32 group count, then per group:
//   int32 version (5) | int32 L | L bytes of name | int32 N | N x uint32 elements, ascending |
//   int32 mode | byte enabled | float offset | int32 materialId | byte respectActivation |
//   float distance | float age
// Not stored: the selection, scriptName (derived again on load), byAge and byDistance (false
// after a load).
//
// Names are stored as UTF-8, which carries every name both ways, but L counts the characters of
// the name: a name outside ASCII has more bytes than that, and keeps only the whole characters
// that fit in L bytes, followed by zero bytes up to L. A load stops a name at its first zero
// byte, so such a name comes back shortened, never with a broken character at its end.
#pragma once

#include "elements/wkCacheChunkBytes.h"
#include "elements/wkCacheGroupList.h"

#include <cstdint>
#include <span>

inline constexpr std::uint16_t kGroupsChunkId = 0x0200;

enum class wkCacheGroupIO : std::int32_t {
    ok = 0,
    // A group stored by a version before 5: the user has been told, and the list is empty.
    incompatible = 1,
    // The data ends inside a field, or a name length or element count is negative.
    readError = 2,
    // The sink refused a write.
    writeError = 3,
};

// Replaces the list with the groups stored in `chunk`. The list is emptied first, and stays
// empty on any failure; a count below 1 leaves it empty with success. A group whose name is
// already in the list is dropped. Nothing is allocated for a count that the bytes present
// cannot back.
wkCacheGroupIO loadGroups(wkCacheGroupList& list, std::span<const std::uint8_t> chunk);

// Writes the list. Callers prune the groups to the reader's element count first
// (wkCacheGroupList::pruneElements). A refused write ends the save with writeError, except a
// refused count: the scene then simply carries no groups (a later load finds no count and gets
// an empty list), and the save of the rest of the scene goes on, so that answers ok.
wkCacheGroupIO saveGroups(const wkCacheGroupList& list, wkCacheByteSink& sink);
