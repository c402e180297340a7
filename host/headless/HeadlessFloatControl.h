// The controller of an animated parameter in the headless host: a linear float key track.
#pragma once

#include "host/ParamBlock.h"
#include "host/headless/HeadlessKeyTrack.h"

class HeadlessFloatControl final : public Control {
public:
    void GetValue(TimeValue t, void* val, Interval&) const override {
        *static_cast<float*>(val) = track.GetValue(t);
    }
    float GetFloatValue(TimeValue t) const override { return track.GetValue(t); }
    bool IsKeyAtTime(TimeValue t) const override;

    // Adds a key at t, or replaces the one already there.
    void SetKey(TimeValue t, float value) { track.AddKey(t, value); }
    const FloatTrack& Track() const { return track; }

private:
    FloatTrack track{0.0f, KeyInterpolation::Linear};
};
