// The parameter block: an object's settings, described once per class by a ParamBlockDesc2 and
// held per object by an IParamBlock2 that the host makes.
//
// A parameter is known by its id. Plain parameters hold one value; animatable ones (flag
// P_ANIMATABLE) may instead hold a controller, which then gives the value at each time. Tables
// (P_VARIABLE_SIZE) hold a list of entries, each with its own value or controller. Values are
// clamped to the parameter's range when written. Every change of a value is told to the block's
// owner as the change message 80, after which LastNotifyParamID() names the parameter.
#pragma once

#include "host/Assets.h"
#include "host/Control.h"
#include "host/Reference.h"
#include "host/Strings.h"
#include "host/Time.h"

#include <cstdint>
#include <memory>
#include <vector>

class INode;

using ParamID = short;
using BlockID = short;

enum ParamType2 : int {
    TYPE_FLOAT,
    TYPE_INT,
    TYPE_BOOL,
    TYPE_WORLD,     // a length in system units
    TYPE_FILENAME,  // a file, held as an asset reference
    TYPE_INODE,     // a scene node
    TYPE_INODE_TAB, // a table of nodes
    TYPE_FLOAT_TAB, // a table of floats
};

// Parameter flags.
inline constexpr std::uint32_t P_ANIMATABLE = 0x1;
inline constexpr std::uint32_t P_RESET_DEFAULT = 0x20;
inline constexpr std::uint32_t P_VARIABLE_SIZE = 0x1000;

// Decides whether a node may be given to a node parameter; a refused node leaves the parameter
// unchanged.
class PBValidator {
public:
    virtual ~PBValidator() = default;
    virtual bool Validate(INode* node) = 0;
};

// Names the entries of a table for the track view; one static object per class.
class PBAccessor {
public:
    virtual ~PBAccessor() = default;
    virtual WStr GetLocalName(ReferenceMaker* owner, ParamID id, int tabIndex) = 0;
};

// The option tag that installs a validator.
inline constexpr std::uint32_t p_validator = 0xC0000004;

// One row of a block description. Numbers are kept as floats for float-like types and as
// integers for int and bool; `hasRange` is false where the parameter has none.
struct ParamDef {
    ParamID id = 0;
    const char* internalName = "";
    ParamType2 type = TYPE_INT;
    std::uint32_t flags = 0;
    int localNameId = 0; // string id of the label; 0 for none
    float defaultFloat = 0.0f;
    int defaultInt = 0;
    bool hasRange = false;
    float rangeLowFloat = 0.0f;
    float rangeHighFloat = 0.0f;
    int rangeLowInt = 0;
    int rangeHighInt = 0;
    int assetType = 0;                // TYPE_FILENAME only
    PBValidator* validator = nullptr; // TYPE_INODE and TYPE_INODE_TAB, installed at run time
    PBAccessor* accessor = nullptr;   // the names of a table's entries

    bool IsAnimatable() const { return (flags & P_ANIMATABLE) != 0; }
    bool IsTable() const { return type == TYPE_INODE_TAB || type == TYPE_FLOAT_TAB; }
    // Float-like: TYPE_FLOAT, TYPE_WORLD and TYPE_FLOAT_TAB.
    bool IsFloatType() const {
        return type == TYPE_FLOAT || type == TYPE_WORLD || type == TYPE_FLOAT_TAB;
    }
};

// The description of a class's block: its id, name, flags, version and rows in the order of
// declaration.
struct ParamBlockDesc2 {
    BlockID id = 0;
    const char* internalName = "";
    std::uint32_t flags = 0;
    int version = 0;
    std::vector<ParamDef> params;

    // The row of `id`, or null.
    const ParamDef* GetParamDef(ParamID id) const;
    // Sets an option of a row at run time; only p_validator is known. False for an unknown id
    // or tag.
    bool ParamOption(ParamID id, std::uint32_t tag, PBValidator* validator);
};

class IParamBlock2 : public ReferenceTarget {
public:
    virtual const ParamBlockDesc2& GetDesc() const = 0;
    BlockID ID() const { return GetDesc().id; }
    // The name of an entry of a table as the accessor of its row gives it; empty without one.
    virtual WStr GetLocalName(ParamID id, int tabIndex) const = 0;

    // Values at t. Reading a parameter of another kind, an unknown id or an entry outside a
    // table gives 0 (null, the null asset); a float read as int is truncated, an int read as
    // float converted.
    virtual int GetInt(ParamID id, TimeValue t = 0, int tabIndex = 0) const = 0;
    virtual float GetFloat(ParamID id, TimeValue t = 0, int tabIndex = 0) const = 0;
    virtual INode* GetINode(ParamID id, TimeValue t = 0, int tabIndex = 0) const = 0;
    virtual AssetUser GetAssetUser(ParamID id, TimeValue t = 0) const = 0;

    // Writes at t, clamped to the range; false for an unknown id, a type that does not fit, an
    // entry outside a table or a NaN. An animated parameter gets a key at t, any other its
    // value. An int written to a float parameter is converted, a float written to an int or
    // bool parameter truncated.
    virtual bool SetValue(ParamID id, TimeValue t, int value, int tabIndex = 0) = 0;
    virtual bool SetValue(ParamID id, TimeValue t, float value, int tabIndex = 0) = 0;
    virtual bool SetValue(ParamID id, TimeValue t, INode* value, int tabIndex = 0) = 0;
    virtual bool SetValue(ParamID id, TimeValue t, const AssetUser& value) = 0;

    // Tables: entry count (0 for any other parameter); insert `count` entries before `at` (null
    // nodes, float 0, no controller); delete `count` entries from `at`. Insert and delete are
    // false, and change nothing, for a parameter that is no table or a range that does not lie
    // in the table.
    virtual int Count(ParamID id) const = 0;
    virtual bool Insert(ParamID id, int at, int count) = 0;
    virtual bool Delete(ParamID id, int at, int count) = 0;
    int Append(ParamID id, int count) {
        const int at = Count(id);
        return Insert(id, at, count) ? at : -1;
    }

    // The controller of an animated parameter (or table entry), null while it holds a value.
    virtual Control* GetControllerByID(ParamID id, int tabIndex = 0) const = 0;

    // A copy for a new owner (the object's clone): values, tables and controllers, with
    // notifications on and no change told yet.
    virtual std::unique_ptr<IParamBlock2> Clone(ReferenceMaker& newOwner) const = 0;

    // The parameter of the latest change message; -1 before the first.
    virtual ParamID LastNotifyParamID() const = 0;
    // While off, writes send no change message.
    virtual void EnableNotifications(bool on) = 0;
    virtual bool NotificationsEnabled() const = 0;
};
