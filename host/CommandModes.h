// The host's command modes of sub-object editing: which mouse mode the move, rotate, scale and
// select buttons of the toolbar enter. An object with sub-object levels makes one of each while
// its panel is open and says, per level, which of them apply.
#pragma once

#include "host/Matrix3.h"
#include "host/Strings.h"

class CommandMode {
public:
    virtual ~CommandMode() = default;
    virtual int ID() const = 0;
};

// Mode ids, one per kind.
inline constexpr int CID_SUBOBJMOVE = 1;
inline constexpr int CID_SUBOBJROTATE = 2;
inline constexpr int CID_SUBOBJUSCALE = 3;
inline constexpr int CID_SUBOBJNUSCALE = 4;
inline constexpr int CID_SUBOBJSQUASH = 5;
inline constexpr int CID_SUBOBJSELECT = 6;

template <int Id> class ModBoxCMode final : public CommandMode {
public:
    int ID() const override { return Id; }
};
using MoveModBoxCMode = ModBoxCMode<CID_SUBOBJMOVE>;
using RotateModBoxCMode = ModBoxCMode<CID_SUBOBJROTATE>;
using UScaleModBoxCMode = ModBoxCMode<CID_SUBOBJUSCALE>;
using NUScaleModBoxCMode = ModBoxCMode<CID_SUBOBJNUSCALE>;
using SquashModBoxCMode = ModBoxCMode<CID_SUBOBJSQUASH>;
using SelectModBoxCMode = ModBoxCMode<CID_SUBOBJSELECT>;

// The modes of one level; null where the level has none.
struct XFormModes {
    CommandMode* move = nullptr;
    CommandMode* rotate = nullptr;
    CommandMode* scale = nullptr;
    CommandMode* uscale = nullptr;
    CommandMode* squash = nullptr;
    CommandMode* select = nullptr;
};

// A sub-object level as the host lists it: its name.
class GenSubObjType {
public:
    const WStr& GetName() const { return name; }
    void SetName(const WStr& text) { name = text; }

private:
    WStr name;
};

// What the host's transform gizmo is placed by: one centre, or one frame, per call.
class SubObjAxisCallback {
public:
    virtual ~SubObjAxisCallback() = default;
    virtual void Center(const Point3& centre, int id) = 0;
    virtual void TM(const Matrix3& tm, int id) = 0;
};
