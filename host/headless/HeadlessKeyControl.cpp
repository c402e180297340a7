#include "host/headless/HeadlessKeyControl.h"

#include "host/Host.h"
#include "host/UndoHold.h"
#include "host/headless/HeadlessKeyTrack.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

// ---- What differs by value type. Plain values (float, Point2, Point3, Point4) are their own
// anchors and chords; rotations and scales are overloaded below.

template <class V> V anchorOf(const V*, const V& key) {
    return key;
}
template <class V> V chordOf(const V& previous, const V& key) {
    return key - previous;
}
template <class V, class K>
V offsetValue(const V& anchor, const K&, const K&, const V& offset, float) {
    return anchor + offset;
}
// Only rotation keys are relative to the key before; the others need no hand-over.
template <class K> void handOverTurn(K&, const K&) {}
template <class K> void takeBackTurn(K&, const K&) {}

Point3 turnVector(const AngAxis& turn) {
    return Normalize(turn.axis) * turn.angle;
}
Quat turnQuat(const Point3& v) {
    const float angle = v.Length();
    return angle == 0.0f ? Quat() : Quat(AngAxis(v / angle, angle));
}

// A rotation key turns the orientation of the key before it: q_k = R_k * q_(k-1).
Quat anchorOf(const Quat* previous, const AngAxis& key) {
    const Quat turn = turnQuat(turnVector(key));
    return previous == nullptr ? turn : turn * *previous;
}
Point3 chordOf(const AngAxis&, const AngAxis& key) {
    return turnVector(key);
}
Quat offsetValue(const Quat& anchor, const AngAxis&, const AngAxis&, const Point3& offset, float) {
    return turnQuat(offset) * anchor;
}
void handOverTurn(AngAxis& next, const AngAxis& removed) {
    next = JoinTurns(removed, next);
}
void takeBackTurn(AngAxis& next, const AngAxis& inserted) {
    next = SplitTurn(next, inserted);
}

// A scale interpolates its factors on the curve and its axes along the short arc.
Point3 chordOf(const ScaleValue& previous, const ScaleValue& key) {
    return key.s - previous.s;
}
ScaleValue offsetValue(const ScaleValue& anchor, const ScaleValue& from, const ScaleValue& to,
                       const Point3& offset, float u) {
    Quat axes = to.q;
    axes.MakeClosest(from.q);
    return {anchor.s + offset, Slerp(from.q, axes, u)};
}

TCBParams paramsOf(const ITCBKey& key) {
    return {key.tens, key.cont, key.bias, key.easeIn, key.easeOut};
}

bool inside(TimeValue t, Interval range, std::uint32_t flags) {
    const bool afterStart = t > range.Start() || (t == range.Start() && (flags & TIME_INCLEFT));
    const bool beforeEnd = t < range.End() || (t == range.End() && (flags & TIME_INCRIGHT));
    return afterStart && beforeEnd;
}

template <class Key> struct KeyClip final : TrackClipObject {
    std::vector<Key> keys; // times relative to the start of the copied interval
};

// The undo record of Copy: the keys and the held value before and after.
template <class Control, class Key, class Value> class KeysRestore final : public RestoreObj {
public:
    KeysRestore(Control& control_, std::vector<Key> before_, Value heldBefore_,
                std::vector<Key> after_, Value heldAfter_)
        : control(control_), before(std::move(before_)), after(std::move(after_)),
          heldBefore(heldBefore_), heldAfter(heldAfter_) {}
    void Restore(bool) override {
        control.ReplaceKeys(before);
        control.SetHeldValue(heldBefore);
    }
    void Redo() override {
        control.ReplaceKeys(after);
        control.SetHeldValue(heldAfter);
    }

private:
    Control& control;
    std::vector<Key> before, after;
    Value heldBefore, heldAfter;
};

} // namespace

AngAxis JoinTurns(const AngAxis& earlier, const AngAxis& later) {
    const Point3 a = Normalize(earlier.axis);
    const Point3 b = Normalize(later.axis);
    if (earlier.angle == 0.0f || a.LengthSquared() == 0.0f)
        return later;
    if (later.angle == 0.0f || b.LengthSquared() == 0.0f)
        return earlier;
    // One axis (either way round): the angles add, whole revolutions included.
    if (CrossProd(a, b).LengthSquared() < 1e-12f)
        return {b, later.angle + (DotProd(a, b) > 0.0f ? earlier.angle : -earlier.angle)};
    return AngAxis(Quat(AngAxis(b, later.angle)) * Quat(AngAxis(a, earlier.angle)));
}

AngAxis SplitTurn(const AngAxis& joined, const AngAxis& earlier) {
    return JoinTurns({earlier.axis, -earlier.angle}, joined);
}

template <class Traits> void HeadlessKeyControl<Traits>::rebuild() const {
    if (!dirty)
        return;
    sorted = keys;
    // Keys are mostly in order already (after SortKeys, deletes and pastes keep it).
    const auto earlier = [](const Key& a, const Key& b) { return a.time < b.time; };
    if (!std::is_sorted(sorted.begin(), sorted.end(), earlier))
        std::stable_sort(sorted.begin(), sorted.end(), earlier);
    const std::size_t n = sorted.size();
    anchors.resize(n);
    chords.assign(n, Vec{});
    inTangents.assign(n, Vec{});
    outTangents.assign(n, Vec{});
    for (std::size_t i = 0; i < n; ++i) {
        anchors[i] = anchorOf(i == 0 ? nullptr : &anchors[i - 1], sorted[i].val);
        if (i > 0)
            chords[i] = chordOf(sorted[i - 1].val, sorted[i].val);
    }
    for (std::size_t i = 0; n > 1 && i < n; ++i) {
        const float open = 1.0f - sorted[i].tens;
        if (i == 0 || i == n - 1) {
            inTangents[i] = outTangents[i] = chords[i == 0 ? 1 : i] * open;
            continue;
        }
        float before = static_cast<float>(sorted[i].time - sorted[i - 1].time);
        float after = static_cast<float>(sorted[i + 1].time - sorted[i].time);
        if (before + after <= 0.0f)
            before = after = 1.0f; // keys on one time: no spacing to weigh by
        const TCBTangentWeights w = TCBWeights(paramsOf(sorted[i]), before, after);
        inTangents[i] = chords[i] * w.inPrev + chords[i + 1] * w.inNext;
        outTangents[i] = chords[i] * w.outPrev + chords[i + 1] * w.outNext;
    }
    dirty = false;
}

template <class Traits>
typename HeadlessKeyControl<Traits>::Value HeadlessKeyControl<Traits>::ValueAt(TimeValue t) const {
    rebuild();
    if (sorted.empty())
        return held;
    if (t <= sorted.front().time)
        return anchors.front();
    if (t >= sorted.back().time)
        return anchors.back();
    const auto next = std::upper_bound(sorted.begin(), sorted.end(), t,
                                       [](TimeValue v, const Key& k) { return v < k.time; });
    const std::size_t i = static_cast<std::size_t>(next - sorted.begin()) - 1;
    const Key& a = sorted[i];
    const Key& b = sorted[i + 1];
    if ((a.flags & IKEY_STEP_OUT) != 0 || (b.flags & IKEY_STEP_IN) != 0)
        return anchors[i];
    // Tick differences fit 64 bits whatever the times.
    const double span = static_cast<double>(static_cast<std::int64_t>(b.time) - a.time);
    float u = static_cast<float>(static_cast<double>(static_cast<std::int64_t>(t) - a.time) / span);
    u = EaseCurve(u, a.easeOut, b.easeIn);
    const float u2 = u * u;
    const float u3 = u2 * u;
    const Vec offset = chords[i + 1] * (-2.0f * u3 + 3.0f * u2) +
                       outTangents[i] * (u3 - 2.0f * u2 + u) + inTangents[i + 1] * (u3 - u2);
    return offsetValue(anchors[i], a.val, b.val, offset, u);
}

template <class Traits>
void HeadlessKeyControl<Traits>::GetValue(TimeValue t, void* val, Interval& valid) const {
    *static_cast<Value*>(val) = ValueAt(t);
    if (keys.size() > 1)
        valid = Interval(t, t);
}

template <class Traits>
void HeadlessKeyControl<Traits>::GetKeyTimes(std::vector<TimeValue>& times, Interval range,
                                             std::uint32_t) const {
    rebuild();
    for (const Key& key : sorted) {
        if (range.InInterval(key.time))
            times.push_back(key.time);
    }
}

template <class Traits> int HeadlessKeyControl<Traits>::GetKeyIndex(TimeValue t) const {
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i].time == t)
            return static_cast<int>(i);
    }
    return -1;
}

template <class Traits>
typename HeadlessKeyControl<Traits>::Key* HeadlessKeyControl<Traits>::nextInTime(TimeValue t) {
    // Keys written out of order are not in time order in the list.
    Key* next = nullptr;
    for (Key& key : keys) {
        if (key.time > t && (next == nullptr || key.time < next->time))
            next = &key;
    }
    return next;
}

template <class Traits> void HeadlessKeyControl<Traits>::DeleteKeyByIndex(int index) {
    if (index < 0 || index >= NumKeys())
        return;
    const Key removed = keys[static_cast<std::size_t>(index)];
    if (keys.size() == 1)
        held = ValueAt(removed.time);
    keys.erase(keys.begin() + index);
    if (Key* next = nextInTime(removed.time))
        handOverTurn(next->val, removed.val);
    changed();
}

template <class Traits> void HeadlessKeyControl<Traits>::insertKey(const Key& key) {
    // The turn comes back from the key after it in time, which a delete handed it to.
    if (Key* next = nextInTime(key.time))
        takeBackTurn(next->val, key.val);
    const auto at =
        std::find_if(keys.begin(), keys.end(), [&key](const Key& k) { return k.time > key.time; });
    keys.insert(at, key);
}

template <class Traits>
std::unique_ptr<TrackClipObject> HeadlessKeyControl<Traits>::CopyTrack(Interval range,
                                                                       std::uint32_t flags) const {
    auto clip = std::make_unique<KeyClip<Key>>();
    for (const Key& key : keys) {
        if (inside(key.time, range, flags)) {
            clip->keys.push_back(key);
            clip->keys.back().time = key.time - range.Start();
        }
    }
    return clip;
}

template <class Traits>
void HeadlessKeyControl<Traits>::PasteTrack(const TrackClipObject* clip, Interval range,
                                            std::uint32_t flags) {
    const auto* piece = dynamic_cast<const KeyClip<Key>*>(clip);
    if (piece == nullptr)
        return;
    for (int i = NumKeys() - 1; i >= 0; --i) {
        if (inside(keys[static_cast<std::size_t>(i)].time, range, flags))
            DeleteKeyByIndex(i);
    }
    for (Key key : piece->keys) {
        key.time += range.Start();
        insertKey(key);
    }
    changed();
}

template <class Traits> void HeadlessKeyControl<Traits>::ReplaceKeys(const std::vector<Key>& k) {
    keys = k;
    changed();
}

template <class Traits> void HeadlessKeyControl<Traits>::SetHeldValue(const Value& value) {
    held = value;
    changed();
}

template <class Traits> void HeadlessKeyControl<Traits>::Copy(const Control* from) {
    const auto* source = dynamic_cast<const HeadlessKeyControl*>(from);
    if (source == nullptr || source == this)
        return;
    GetHost().Hold().Put(std::make_unique<KeysRestore<HeadlessKeyControl, Key, Value>>(
        *this, keys, held, source->keys, source->held));
    ReplaceKeys(source->keys);
    SetHeldValue(source->held);
}

template <class Traits> std::unique_ptr<Control> HeadlessKeyControl<Traits>::Clone() const {
    auto copy = std::make_unique<HeadlessKeyControl>();
    copy->keys = keys;
    copy->held = held;
    return copy;
}

template <class Traits> void HeadlessKeyControl<Traits>::SetNumKeys(int n) {
    keys.resize(static_cast<std::size_t>(std::max(n, 0)));
    changed();
}

template <class Traits> void HeadlessKeyControl<Traits>::GetKey(int i, IKey* key) const {
    if (i >= 0 && i < NumKeys())
        *static_cast<Key*>(key) = keys[static_cast<std::size_t>(i)];
}

template <class Traits> void HeadlessKeyControl<Traits>::SetKey(int i, const IKey* key) {
    if (i < 0 || i >= NumKeys())
        return;
    keys[static_cast<std::size_t>(i)] = *static_cast<const Key*>(key);
    changed();
}

template <class Traits> int HeadlessKeyControl<Traits>::AppendKey(const IKey* key) {
    keys.push_back(*static_cast<const Key*>(key));
    changed();
    return NumKeys() - 1;
}

template <class Traits> void HeadlessKeyControl<Traits>::SortKeys() {
    std::stable_sort(keys.begin(), keys.end(),
                     [](const Key& a, const Key& b) { return a.time < b.time; });
    changed();
}

template class HeadlessKeyControl<FloatKeyTraits>;
template class HeadlessKeyControl<Point2KeyTraits>;
template class HeadlessKeyControl<Point3KeyTraits>;
template class HeadlessKeyControl<Point4KeyTraits>;
template class HeadlessKeyControl<PositionKeyTraits>;
template class HeadlessKeyControl<RotationKeyTraits>;
template class HeadlessKeyControl<ScaleKeyTraits>;

namespace {
template <class Traits> std::unique_ptr<Control> makeIf(SClass_ID superClass, Class_ID classID) {
    if (superClass == Traits::superClass && classID == Traits::classID)
        return std::make_unique<HeadlessKeyControl<Traits>>();
    return nullptr;
}
} // namespace

std::unique_ptr<Control> CreateHeadlessKeyControl(SClass_ID superClass, Class_ID classID) {
    for (auto make : {&makeIf<FloatKeyTraits>, &makeIf<Point2KeyTraits>, &makeIf<Point3KeyTraits>,
                      &makeIf<Point4KeyTraits>, &makeIf<PositionKeyTraits>,
                      &makeIf<RotationKeyTraits>, &makeIf<ScaleKeyTraits>}) {
        if (auto control = make(superClass, classID))
            return control;
    }
    return nullptr;
}
