// Key tracks of the headless scene: a value keyed at ticks, with linear or TCB interpolation
// between the keys, for floats (visibility, attenuation), points (position, scale) and
// rotations.
//
// Before the first key a track holds the first key's value, after the last the last key's;
// a track without keys answers its default. Keys are kept sorted by time; a key at the time of
// an existing one replaces it.
//
// TCB (tension, continuity, bias) is the Kochanek-Bartels spline: a cubic Hermite segment
// between two keys, whose tangents at each key are blended from the chords to its neighbours
// by the three parameters, scaled for unevenly spaced keys; ease-in and ease-out (0 to 1) slow
// the time towards and away from a key. Rotations use the same tangents on the logarithms of
// the relative rotations between keys, and Shoemake's squad for the segment; all keys of a
// rotation track take the short way from their predecessor. Linear rotation is a slerp along
// the short arc.
#pragma once

#include "host/Point.h"
#include "host/Quat.h"
#include "host/Time.h"
#include "host/headless/HeadlessRevision.h"

#include <vector>

enum class KeyInterpolation { Linear, TCB };

struct TCBParams {
    float tension = 0.0f;
    float continuity = 0.0f;
    float bias = 0.0f;
    float easeIn = 0.0f;
    float easeOut = 0.0f;
};

template <class T> struct TrackKey {
    TimeValue time = 0;
    T value{};
    TCBParams tcb; // used by TCB tracks only
};

template <class T> class HeadlessKeyTrack {
public:
    explicit HeadlessKeyTrack(T defaultValue_ = T{},
                              KeyInterpolation interpolation_ = KeyInterpolation::Linear)
        : defaultValue(defaultValue_), interpolation(interpolation_) {}

    KeyInterpolation GetInterpolation() const { return interpolation; }
    void SetInterpolation(KeyInterpolation kind) {
        interpolation = kind;
        lastArc.segment = -1;
        HeadlessRevision::Changed();
    }

    void AddKey(TimeValue time, const T& value, const TCBParams& tcb = {});
    void AddKey(const TrackKey<T>& key) { AddKey(key.time, key.value, key.tcb); }
    void ClearKeys() {
        keys.clear();
        lastArc.segment = -1;
        HeadlessRevision::Changed();
    }
    int NumKeys() const { return static_cast<int>(keys.size()); }
    const TrackKey<T>& GetKey(int i) const { return keys[static_cast<std::size_t>(i)]; }

    T GetValue(TimeValue t) const;
    // GetValue at each of `count` times, into `out`: the same values, in one loop that keeps
    // the segment from one time to the next and evaluates the times of one segment together
    // (recording asks for runs of rising times).
    void GetValues(const TimeValue* times, int count, T* out) const;
    // Outside animation: a track without keys takes the value everywhere; with keys, the value
    // becomes a key at t.
    void SetValue(TimeValue t, const T& value) {
        if (keys.empty()) {
            defaultValue = value;
            HeadlessRevision::Changed();
        } else {
            AddKey(t, value);
        }
    }

private:
    // The index of the key that starts the segment holding t, strictly between the first and
    // the last key's times; `guess` is tried first.
    std::size_t segmentOf(TimeValue t, std::size_t guess) const;
    // The values at `count` times in the segment starting at key i, into `out`.
    void valuesInSegment(std::size_t i, const TimeValue* times, int count, T* out) const;

    // The arc of the last linear rotation segment evaluated: recording and playback ask a track
    // for many times in a row between the same two keys, and the arc depends on them alone.
    struct SegmentArc {
        int segment = -1; // -1: none
        Quat to;          // the second key on the short way from the first
        SlerpArc arc;
    };

    std::vector<TrackKey<T>> keys;
    T defaultValue;
    KeyInterpolation interpolation;
    mutable SegmentArc lastArc;
};

// The three tracks there are, each instantiated in the .cpp.
using FloatTrack = HeadlessKeyTrack<float>;
using Point3Track = HeadlessKeyTrack<Point3>;
using RotationTrack = HeadlessKeyTrack<Quat>;

// Kochanek-Bartels weights of the tangents at a key whose neighbours lie `before` and `after`
// ticks away: outgoing tangent = outPrev * (P - Pprev) + outNext * (Pnext - P), incoming alike.
struct TCBTangentWeights {
    float outPrev, outNext, inPrev, inNext;
};
TCBTangentWeights TCBWeights(const TCBParams& k, float before, float after);

// The ease curve of a TCB segment: the fraction u of the way from a key whose ease-out is
// `easeFrom` to one whose ease-in is `easeTo`, slowed at either end. Both 0: u itself.
float EaseCurve(float u, float easeFrom, float easeTo);
