// The unit lists of the playback panel: From and To (parameters 8 and 9) set scaleUnits to the
// size of the To unit divided by the size of the From unit, both in inches.
#pragma once

#include <array>
#include <cstdint>

struct wkCacheUnit {
    const wchar_t* label;
    float inches;
};

// Index order of the lists. Miles is kept at 160900 inches, which is what the lists have always
// given.
inline constexpr std::array<wkCacheUnit, 7> kCacheUnits{{
    {L"Inches", 1.0f},
    {L"Feet", 12.0f},
    {L"Miles", 160900.0f},
    {L"Milimeters", 0.0393701f},
    {L"Centimeters", 0.393701f},
    {L"Meters", 39.3701f},
    {L"Kilometers", 39370.1f},
}};

// To / From, in single precision. An index outside the lists counts as Inches.
float UnitListScale(std::int32_t from, std::int32_t to);
