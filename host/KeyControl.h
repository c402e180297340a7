// Keyframe controllers as the host offers them: the superclasses that say a controller's value
// type, the class ids of the ready-made key controllers, the key records, and the key
// interface through which keys are counted, read, written and sorted.
//
// Key records: every key has a time and flags; a TCB key adds tension, continuity and bias
// (-1 to 1) and ease in and out (0 to 1) to its value. A rotation key holds the turn from the
// key before it (from no turn, for the first key) as an axis and an angle, so that a turn of
// more than half a revolution, or of whole revolutions, is kept as it was keyed.
#pragma once

#include "host/ClassID.h"
#include "host/Point.h"
#include "host/Quat.h"
#include "host/Time.h"

#include <cstdint>

// Superclasses of controllers, by the type of value they answer.
inline constexpr SClass_ID CTRL_FLOAT_CLASS_ID = 36867;    // float
inline constexpr SClass_ID CTRL_POINT2_CLASS_ID = 36868;   // Point2
inline constexpr SClass_ID CTRL_POINT3_CLASS_ID = 36869;   // Point3
inline constexpr SClass_ID CTRL_POINT4_CLASS_ID = 36882;   // Point4
inline constexpr SClass_ID CTRL_POSITION_CLASS_ID = 36875; // Point3, a node's position
inline constexpr SClass_ID CTRL_ROTATION_CLASS_ID = 36876; // Quat
inline constexpr SClass_ID CTRL_SCALE_CLASS_ID = 36877;    // ScaleValue

// The key controllers of the host, each with TCB keys.
inline constexpr Class_ID TCBINTERP_FLOAT_CLASS_ID{8199, 0};
inline constexpr Class_ID TCBINTERP_POINT2_CLASS_ID{8200, 0};
inline constexpr Class_ID TCBINTERP_POINT3_CLASS_ID{8201, 0};
inline constexpr Class_ID TCBINTERP_POINT4_CLASS_ID{8202, 0};
inline constexpr Class_ID TCBINTERP_POSITION_CLASS_ID{4465426, 0};
inline constexpr Class_ID TCBINTERP_ROTATION_CLASS_ID{4465427, 0};
inline constexpr Class_ID TCBINTERP_SCALE_CLASS_ID{4465429, 0};
// The transform controller made of a position, a rotation and a scale controller.
inline constexpr Class_ID PRS_CONTROL_CLASS_ID{8197, 0};
// The point helper.
inline constexpr Class_ID POINTHELP_CLASS_ID{8211, 0};

// The key interface's id.
inline constexpr int I_KEYCONTROL = 4352;

// Flags of track copy and paste: whether the interval's start and end are included.
inline constexpr std::uint32_t TIME_INCLEFT = 1u << 10;
inline constexpr std::uint32_t TIME_INCRIGHT = 1u << 11;

// Key flags that make a segment a step: the value holds at the earlier key's until the later
// key's time. A key with STEP_OUT holds its value up to the next key; a key with STEP_IN is
// jumped to at its time. Visibility keys carry both (2304), so a track keyed only where the
// state changes does not fade between its keys.
inline constexpr std::uint32_t IKEY_STEP_OUT = 1u << 8;
inline constexpr std::uint32_t IKEY_STEP_IN = 1u << 11;
inline constexpr std::uint32_t IKEY_STEP = IKEY_STEP_OUT | IKEY_STEP_IN; // 2304

struct IKey {
    TimeValue time = 0;
    std::uint32_t flags = 0;
};

struct ITCBKey : IKey {
    float tens = 0.0f;
    float cont = 0.0f;
    float bias = 0.0f;
    float easeIn = 0.0f;
    float easeOut = 0.0f;
};

// A TCB key of value type V.
template <class V> struct ITCBKeyOf : ITCBKey { V val{}; };

using ITCBFloatKey = ITCBKeyOf<float>;
using ITCBPoint3Key = ITCBKeyOf<Point3>;
using ITCBRotKey = ITCBKeyOf<AngAxis>;
using ITCBScaleKey = ITCBKeyOf<ScaleValue>;

// The key interface of a key controller. Key records passed in and out are of the
// controller's key type (ITCBPoint3Key for a position controller, and so on). Keys need not be
// in time order while they are written; SortKeys puts them in order, and the curve is defined
// by the keys in order.
class IKeyControl {
public:
    virtual ~IKeyControl() = default;

    virtual int GetNumKeys() const = 0;
    // Grows with keys at time 0 and no turn or value, or drops keys from the end.
    virtual void SetNumKeys(int n) = 0;
    // Index outside the keys: nothing is read or written.
    virtual void GetKey(int i, IKey* key) const = 0;
    virtual void SetKey(int i, const IKey* key) = 0;
    // Answers the new key's index.
    virtual int AppendKey(const IKey* key) = 0;
    virtual void SortKeys() = 0;
};
