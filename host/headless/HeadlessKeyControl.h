// The key controllers of the headless host: TCB keys of one value type, with the key interface
// and the controller's key operations. One template serves the seven controller classes; a
// traits class per value type says what differs (see HeadlessKeyControl.cpp).
//
// The curve: between two keys a cubic Hermite segment whose tangents are the Kochanek-Bartels
// blend of the chords to the neighbouring keys (tension, continuity, bias), with ease in and
// ease out warping the segment's time. Every value type is interpolated as its key value plus
// an offset that runs from no change to the chord of the segment, so one Hermite routine
// serves all. A rotation's chord is the key's own turn (axis times angle), so a key that turns
// by 270 degrees or by two revolutions is followed through all of it. A first or last key
// takes the one chord it has, times (1 - tension), as its tangent.
//
// A segment whose first key has IKEY_STEP_OUT or whose second has IKEY_STEP_IN is a step.
//
// Tangents and the keys' absolute values are rebuilt from the keys after every change, before
// the next value is read; keys written out of order are read in time order.
//
// Deleting a rotation key hands its turn on to the key after it, and pasting one back takes it
// away again, so that the other keys keep their orientation.
//
// A controller without keys holds a value: the default of its type until it has had keys, then
// the value of the last key deleted, so that taking every key away leaves the curve where it
// stood rather than at the default.
#pragma once

#include "host/Control.h"
#include "host/headless/HeadlessRevision.h"

#include <vector>

// What differs between value types; specialised for each traits type in the .cpp.
template <class Value_, class KeyValue_, class Vec_, SClass_ID SuperClass_, std::uint32_t ClassA_>
struct KeyControlTraits {
    using Value = Value_;       // what GetValue answers
    using KeyValue = KeyValue_; // what a key record holds
    using Vec = Vec_;           // the space the Hermite offsets live in
    static constexpr SClass_ID superClass = SuperClass_;
    static constexpr Class_ID classID{ClassA_, 0};
};

using FloatKeyTraits = KeyControlTraits<float, float, float, CTRL_FLOAT_CLASS_ID, 8199>;
using Point2KeyTraits = KeyControlTraits<Point2, Point2, Point2, CTRL_POINT2_CLASS_ID, 8200>;
using Point3KeyTraits = KeyControlTraits<Point3, Point3, Point3, CTRL_POINT3_CLASS_ID, 8201>;
using Point4KeyTraits = KeyControlTraits<Point4, Point4, Point4, CTRL_POINT4_CLASS_ID, 8202>;
using PositionKeyTraits = KeyControlTraits<Point3, Point3, Point3, CTRL_POSITION_CLASS_ID, 4465426>;
using RotationKeyTraits = KeyControlTraits<Quat, AngAxis, Point3, CTRL_ROTATION_CLASS_ID, 4465427>;
using ScaleKeyTraits =
    KeyControlTraits<ScaleValue, ScaleValue, Point3, CTRL_SCALE_CLASS_ID, 4465429>;

template <class Traits> class HeadlessKeyControl final : public Control, public IKeyControl {
public:
    using Value = typename Traits::Value;
    using Key = ITCBKeyOf<typename Traits::KeyValue>;

    // ---- Control
    SClass_ID SuperClassID() const override { return Traits::superClass; }
    Class_ID ClassID() const override { return Traits::classID; }
    void GetValue(TimeValue t, void* val, Interval& valid) const override;
    bool IsKeyAtTime(TimeValue t) const override { return GetKeyIndex(t) >= 0; }
    IKeyControl* GetKeyControlInterface() override { return this; }
    int NumKeys() const override { return static_cast<int>(keys.size()); }
    void GetKeyTimes(std::vector<TimeValue>& times, Interval range,
                     std::uint32_t flags) const override;
    int GetKeyIndex(TimeValue t) const override;
    void DeleteKeyByIndex(int index) override;
    std::unique_ptr<TrackClipObject> CopyTrack(Interval range, std::uint32_t flags) const override;
    void PasteTrack(const TrackClipObject* clip, Interval range, std::uint32_t flags) override;
    void Copy(const Control* from) override;
    std::unique_ptr<Control> Clone() const override;

    // ---- IKeyControl
    int GetNumKeys() const override { return NumKeys(); }
    void SetNumKeys(int n) override;
    void GetKey(int i, IKey* key) const override;
    void SetKey(int i, const IKey* key) override;
    int AppendKey(const IKey* key) override;
    void SortKeys() override;

    // The value at t, typed.
    Value ValueAt(TimeValue t) const;
    const std::vector<Key>& Keys() const { return keys; }
    // Puts these keys in place of all (scene files, undo).
    void ReplaceKeys(const std::vector<Key>& newKeys);
    // The value held while there are no keys.
    const Value& HeldValue() const { return held; }
    void SetHeldValue(const Value& value);

private:
    using Vec = typename Traits::Vec;
    void changed() {
        dirty = true;
        HeadlessRevision::Changed();
    }
    void rebuild() const;
    // Inserts a key before the first later one, taking its turn from the key after it in time.
    void insertKey(const Key& key);
    // The earliest key later than t, or null.
    Key* nextInTime(TimeValue t);

    std::vector<Key> keys;
    Value held{};

    // Rebuilt from `keys` when dirty: the keys in time order, each one's absolute value, the
    // chord from the key before (none for the first) and its in and out tangents.
    mutable bool dirty = true;
    mutable std::vector<Key> sorted;
    mutable std::vector<Value> anchors;
    mutable std::vector<Vec> chords, inTangents, outTangents;
};

// The .cpp instantiates the controller for each of the seven traits above; the controllers
// that code names directly:
using HeadlessFloatKeyControl = HeadlessKeyControl<FloatKeyTraits>;
using HeadlessPositionKeyControl = HeadlessKeyControl<PositionKeyTraits>;
using HeadlessRotationKeyControl = HeadlessKeyControl<RotationKeyTraits>;
using HeadlessScaleKeyControl = HeadlessKeyControl<ScaleKeyTraits>;

// A new key controller of the host's class ids (superclass and class as in KeyControl.h), or
// null for a pair the headless host does not make.
std::unique_ptr<Control> CreateHeadlessKeyControl(SClass_ID superClass, Class_ID classID);

// Two consecutive rotation keys' turns as one: `earlier` then `later`. Turns about one axis
// add their angles, so revolutions survive.
AngAxis JoinTurns(const AngAxis& earlier, const AngAxis& later);
// What is left of `joined` once `earlier` is taken out: JoinTurns(earlier, result) == joined.
AngAxis SplitTurn(const AngAxis& joined, const AngAxis& earlier);
