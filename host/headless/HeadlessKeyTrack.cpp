#include "host/headless/HeadlessKeyTrack.h"

#include "host/Sine.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace {

// ---- Linear blends

float lerp(float a, float b, float u) {
    return a + (b - a) * u;
}
Point3 lerp(const Point3& a, const Point3& b, float u) {
    return a + (b - a) * u;
}

// ---- Kochanek-Bartels tangents for values that add and scale (float, Point3)

template <class T> struct Tangents {
    T in{};
    T out{};
};

template <class T> Tangents<T> valueTangents(const std::vector<TrackKey<T>>& keys, std::size_t i) {
    const std::size_t n = keys.size();
    const TrackKey<T>& key = keys[i];
    const float open = 1.0f - key.tcb.tension;
    if (i == 0) {
        const T chord = keys[1].value - key.value;
        return {chord * open, chord * open};
    }
    if (i == n - 1) {
        const T chord = key.value - keys[i - 1].value;
        return {chord * open, chord * open};
    }
    const T back = key.value - keys[i - 1].value;
    const T ahead = keys[i + 1].value - key.value;
    const TCBTangentWeights w = TCBWeights(key.tcb, static_cast<float>(key.time - keys[i - 1].time),
                                           static_cast<float>(keys[i + 1].time - key.time));
    return {back * w.inPrev + ahead * w.inNext, back * w.outPrev + ahead * w.outNext};
}

template <class T> T hermite(const T& p0, const T& p1, const T& m0, const T& m1, float u) {
    const float u2 = u * u;
    const float u3 = u2 * u;
    const float h1 = 2.0f * u3 - 3.0f * u2 + 1.0f;
    const float h2 = -2.0f * u3 + 3.0f * u2;
    const float h3 = u3 - 2.0f * u2 + u;
    const float h4 = u3 - u2;
    return p0 * h1 + p1 * h2 + m0 * h3 + m1 * h4;
}

// ---- Rotations: logarithms of unit quaternions, and squad

Point3 quatLog(const Quat& q) {
    const Point3 v(q.x, q.y, q.z);
    const float s = v.Length();
    if (s == 0.0f)
        return {};
    const float half = std::atan2(s, q.w);
    return v * (half / s);
}

Quat quatExp(const Point3& v) {
    const float half = v.Length();
    if (half == 0.0f)
        return {};
    const float k = std::sin(half) / half;
    return {v.x * k, v.y * k, v.z * k, std::cos(half)};
}

// The relative rotation from a to b: a * rel == b.
Point3 relativeLog(const Quat& a, const Quat& b) {
    return quatLog(Normalize(Conjugate(a) * b));
}

// Squad control rotations of key i: `out` leads into the segment after it, `in` out of the
// segment before it. `q` holds the keys' rotations from `first` on, each on the short way from
// the one before; a window around the segment is enough, since only relative rotations count.
Tangents<Quat> rotationControls(const std::vector<TrackKey<Quat>>& keys, const Quat* q,
                                std::size_t first, std::size_t i) {
    const std::size_t n = keys.size();
    const Quat& here = q[i - first];
    if (i == 0 || i == n - 1)
        return {here, here};
    const Point3 back = relativeLog(q[i - 1 - first], here);
    const Point3 ahead = relativeLog(here, q[i + 1 - first]);
    const TCBTangentWeights w =
        TCBWeights(keys[i].tcb, static_cast<float>(keys[i].time - keys[i - 1].time),
                   static_cast<float>(keys[i + 1].time - keys[i].time));
    const Point3 inTangent = back * w.inPrev + ahead * w.inNext;
    const Point3 outTangent = back * w.outPrev + ahead * w.outNext;
    return {here * quatExp((back - inTangent) * 0.5f), here * quatExp((outTangent - ahead) * 0.5f)};
}

Quat squad(const Quat& q0, const Quat& a, const Quat& b, const Quat& q1, float u) {
    Quat ab = b;
    ab.MakeClosest(a);
    Quat end = q1;
    end.MakeClosest(q0);
    Quat outer = Slerp(q0, end, u);
    Quat inner = Slerp(a, ab, u);
    inner.MakeClosest(outer);
    return Slerp(outer, inner, 2.0f * u * (1.0f - u));
}

// What a TCB segment's values depend on besides the fraction: its ends and their tangents.
template <class T> struct TCBSegment {
    T p0, p1, m0, m1;
    TCBSegment(const std::vector<TrackKey<T>>& keys, std::size_t i)
        : p0(keys[i].value), p1(keys[i + 1].value), m0(valueTangents(keys, i).out),
          m1(valueTangents(keys, i + 1).in) {}
    T at(float u) const { return hermite(p0, p1, m0, m1, u); }
};

template <> struct TCBSegment<Quat> {
    Quat q0, a, b, q1;
    TCBSegment(const std::vector<TrackKey<Quat>>& keys, std::size_t i) {
        const std::size_t first = i == 0 ? 0 : i - 1;
        const std::size_t last = std::min(keys.size() - 1, i + 2);
        Quat q[4];
        for (std::size_t k = first; k <= last; ++k) {
            q[k - first] = Normalize(keys[k].value);
            if (k > first)
                q[k - first].MakeClosest(q[k - first - 1]);
        }
        q0 = q[i - first];
        q1 = q[i + 1 - first];
        a = rotationControls(keys, q, first, i).out;
        b = rotationControls(keys, q, first, i + 1).in;
    }
    Quat at(float u) const { return squad(q0, a, b, q1, u); }
};

} // namespace

TCBTangentWeights TCBWeights(const TCBParams& k, float before, float after) {
    const float t = 1.0f - k.tension;
    TCBTangentWeights w{t * (1.0f + k.continuity) * (1.0f + k.bias) * 0.5f,
                        t * (1.0f - k.continuity) * (1.0f - k.bias) * 0.5f,
                        t * (1.0f - k.continuity) * (1.0f + k.bias) * 0.5f,
                        t * (1.0f + k.continuity) * (1.0f - k.bias) * 0.5f};
    // Uneven spacing: a tangent is measured per segment, so it is scaled to the segment it
    // belongs to (the outgoing one to the next segment, the incoming one to the previous).
    const float sum = before + after;
    const float outScale = 2.0f * after / sum;
    const float inScale = 2.0f * before / sum;
    w.outPrev *= outScale;
    w.outNext *= outScale;
    w.inPrev *= inScale;
    w.inNext *= inScale;
    return w;
}

float EaseCurve(float u, float easeFrom, float easeTo) {
    float a = std::clamp(easeFrom, 0.0f, 1.0f);
    float b = std::clamp(easeTo, 0.0f, 1.0f);
    const float s = a + b;
    if (s == 0.0f || u <= 0.0f || u >= 1.0f)
        return u;
    if (s > 1.0f) {
        a /= s;
        b /= s;
    }
    // Constant acceleration over the first `a` of the time, constant speed in between,
    // constant deceleration over the last `b`: the distance covered is 1 in total.
    const float k = 1.0f / (2.0f - a - b);
    if (u < a)
        return k / a * u * u;
    if (u < 1.0f - b)
        return k * (2.0f * u - a);
    const float rest = 1.0f - u;
    return 1.0f - k / b * rest * rest;
}

template <class T>
void HeadlessKeyTrack<T>::AddKey(TimeValue time, const T& value, const TCBParams& tcb) {
    const auto at = std::lower_bound(keys.begin(), keys.end(), time,
                                     [](const TrackKey<T>& k, TimeValue t) { return k.time < t; });
    lastArc.segment = -1;
    HeadlessRevision::Changed();
    if (at != keys.end() && at->time == time) {
        *at = {time, value, tcb};
        return;
    }
    keys.insert(at, {time, value, tcb});
}

template <class T>
std::size_t HeadlessKeyTrack<T>::segmentOf(TimeValue t, std::size_t guess) const {
    if (guess + 1 < keys.size() && keys[guess].time <= t && t < keys[guess + 1].time)
        return guess;
    const auto next = std::upper_bound(
        keys.begin(), keys.end(), t, [](TimeValue v, const TrackKey<T>& k) { return v < k.time; });
    return static_cast<std::size_t>(next - keys.begin()) - 1;
}

template <class T>
void HeadlessKeyTrack<T>::valuesInSegment(std::size_t i, const TimeValue* times, int count,
                                          T* out) const {
    const TrackKey<T>& a = keys[i];
    const TrackKey<T>& b = keys[i + 1];
    // Differences of ticks are exact in double whatever the ticks (below 2^33), taken as
    // differences of doubles, which the compiler can take several at a time.
    const double from = a.time;
    const double span = static_cast<double>(b.time) - from;
    const auto fraction = [&](TimeValue t) {
        return static_cast<float>((static_cast<double>(t) - from) / span);
    };
    if (interpolation == KeyInterpolation::Linear) {
        if constexpr (std::is_same_v<T, Quat>) {
            // A slerp along the short arc, whose arc is kept for the segment.
            if (lastArc.segment != static_cast<int>(i)) {
                lastArc.to = b.value;
                lastArc.to.MakeClosest(a.value);
                lastArc.arc = MakeSlerpArc(a.value, lastArc.to);
                lastArc.segment = static_cast<int>(i);
            }
            const SlerpRoad road = SlerpRoadOf(lastArc.arc.cosom);
            if (road != SlerpRoad::Long) {
                for (int k = 0; k < count; ++k)
                    out[k] = Slerp(a.value, lastArc.to, fraction(times[k]), road, lastArc.arc.omega,
                                   lastArc.arc.sinom);
                return;
            }
            // The long road of Slerp, its sines taken many at a time.
            const float omega = lastArc.arc.omega;
            const float sinom = lastArc.arc.sinom;
            constexpr int kPiece = 16;
            float angles[2 * kPiece];
            float sines[2 * kPiece];
            for (int first = 0; first < count; first += kPiece) {
                const int n = std::min(kPiece, count - first);
                for (int k = 0; k < n; ++k) {
                    const float t = fraction(times[first + k]);
                    angles[2 * k] = (1.0f - t) * omega;
                    angles[2 * k + 1] = t * omega;
                }
                SineMany(angles, sines, static_cast<std::size_t>(2 * n));
                for (int k = 0; k < n; ++k)
                    out[first + k] =
                        a.value * (sines[2 * k] / sinom) + lastArc.to * (sines[2 * k + 1] / sinom);
            }
        } else {
            for (int k = 0; k < count; ++k)
                out[k] = lerp(a.value, b.value, fraction(times[k]));
        }
        return;
    }
    const TCBSegment<T> segment(keys, i);
    for (int k = 0; k < count; ++k)
        out[k] = segment.at(EaseCurve(fraction(times[k]), a.tcb.easeOut, b.tcb.easeIn));
}

template <class T> T HeadlessKeyTrack<T>::GetValue(TimeValue t) const {
    if (keys.empty())
        return defaultValue;
    if (t <= keys.front().time)
        return keys.front().value;
    if (t >= keys.back().time)
        return keys.back().value;
    T value;
    valuesInSegment(segmentOf(t, keys.size()), &t, 1, &value);
    return value;
}

template <class T>
void HeadlessKeyTrack<T>::GetValues(const TimeValue* times, int count, T* out) const {
    if (keys.empty()) {
        std::fill_n(out, count, defaultValue);
        return;
    }
    std::size_t segment = 0;
    for (int k = 0; k < count;) {
        const TimeValue t = times[k];
        if (t <= keys.front().time) {
            out[k++] = keys.front().value;
        } else if (t >= keys.back().time) {
            out[k++] = keys.back().value;
        } else {
            // The times that follow in the same segment (and so strictly inside the keys) are
            // evaluated with it: what depends on the segment alone is made once for them.
            segment = segmentOf(t, segment);
            const TimeValue from = std::max(keys[segment].time, keys.front().time + 1);
            const TimeValue to = keys[segment + 1].time;
            int n = 1;
            while (k + n < count && times[k + n] >= from && times[k + n] < to)
                ++n;
            valuesInSegment(segment, times + k, n, out + k);
            k += n;
        }
    }
}

template class HeadlessKeyTrack<float>;
template class HeadlessKeyTrack<Point3>;
template class HeadlessKeyTrack<Quat>;
