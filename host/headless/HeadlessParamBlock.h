// The headless parameter block: the values of one object's parameters, kept in memory.
//
// Every parameter starts at its description's default (tables empty, nodes null, the file the
// null asset). Writes are clamped to the parameter's range; a bool parameter without a range
// keeps the int as written. An animatable parameter, or an entry of an animatable table, gets
// a linear float controller with its first key (SetKey); from then on a write at t is a key
// at t, and reads at t come from the controller.
//
// Inside a hold of `undo`, every change of a value or of a table's size puts a record that gives
// the parameter back as it was, its controllers included, and tells the owner.
//
// Each successful change, while notifications are on, becomes the block's last notified
// parameter and is told to the owner as REFMSG_CHANGE over all time.
#pragma once

#include "host/ParamBlock.h"
#include "host/UndoHold.h"
#include "host/headless/HeadlessFloatControl.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

class HeadlessParamBlock final : public IParamBlock2 {
public:
    // `desc` must outlive the block, as the static descriptions of classes do.
    HeadlessParamBlock(const ParamBlockDesc2& desc, ReferenceMaker& owner,
                       UndoHold* undo = nullptr);

    // ---- IParamBlock2
    const ParamBlockDesc2& GetDesc() const override { return desc; }
    WStr GetLocalName(ParamID id, int tabIndex) const override;
    int GetInt(ParamID id, TimeValue t = 0, int tabIndex = 0) const override;
    float GetFloat(ParamID id, TimeValue t = 0, int tabIndex = 0) const override;
    INode* GetINode(ParamID id, TimeValue t = 0, int tabIndex = 0) const override;
    AssetUser GetAssetUser(ParamID id, TimeValue t = 0) const override;
    bool SetValue(ParamID id, TimeValue t, int value, int tabIndex = 0) override;
    bool SetValue(ParamID id, TimeValue t, float value, int tabIndex = 0) override;
    bool SetValue(ParamID id, TimeValue t, INode* value, int tabIndex = 0) override;
    bool SetValue(ParamID id, TimeValue t, const AssetUser& value) override;
    int Count(ParamID id) const override;
    bool Insert(ParamID id, int at, int count) override;
    bool Delete(ParamID id, int at, int count) override;
    Control* GetControllerByID(ParamID id, int tabIndex = 0) const override;
    std::unique_ptr<IParamBlock2> Clone(ReferenceMaker& newOwner) const override;
    ParamID LastNotifyParamID() const override { return lastNotified; }
    void EnableNotifications(bool on) override { notificationsOn = on; }
    bool NotificationsEnabled() const override { return notificationsOn; }

    // ---- Headless animation
    // A key at t, clamped like a value; the first key makes the controller. False for a
    // parameter or entry that cannot be animated, or a NaN.
    bool SetKey(ParamID id, TimeValue t, float value, int tabIndex = 0);
    // Takes the controller away; the parameter keeps the value it had at time 0. False when
    // there was none.
    bool ClearController(ParamID id, int tabIndex = 0);

    // ---- Text
    // Sets a parameter at time 0 from text, as the command line's NAME=VALUE; see
    // SetParamByName.
    bool SetByName(std::string_view name, std::string_view value, std::string& error);

private:
    class ParamRestore;
    // One value: a parameter's own, or one entry of a table. Which field counts follows the
    // parameter's type.
    struct Entry {
        float floatValue = 0.0f;
        int intValue = 0;
        INode* node = nullptr; // not owned
        std::unique_ptr<HeadlessFloatControl> controller;
    };
    struct Param {
        const ParamDef* def = nullptr;
        std::vector<Entry> entries; // one for a plain parameter
        AssetUser asset;            // TYPE_FILENAME only
    };

    const Param* find(ParamID id) const;
    Param* find(ParamID id);
    // The entry of `tabIndex`, or null outside the table (any index but 0 outside a table).
    const Entry* entry(ParamID id, int tabIndex) const;
    Entry* entry(ParamID id, int tabIndex);
    // Writes a number already converted to the parameter's kind, clamped.
    bool writeNumber(Param& param, Entry& e, TimeValue t, float asFloat, int asInt);
    void changed(ParamID id);
    // Puts the parameter as it is now into the hold, before a change.
    void hold(const Param& param);
    static std::vector<Entry> copyEntries(const std::vector<Entry>& entries);

    const ParamBlockDesc2& desc;
    ReferenceMaker& owner;
    UndoHold* undo;
    std::vector<Param> params; // in the order of declaration
    ParamID lastNotified = -1;
    bool notificationsOn = true;
};

// Sets one parameter of `block` at time 0 from text. `name` is a parameter's internal name
// (ASCII letters in any case) or its id as a number; the two ids that share a name are
// reachable only by number. Ints and the ranged bools take whole numbers, the other bools 0
// or 1, floats decimal numbers; out of range values are clamped. A file name is taken as
// written (empty: no file). Nodes and tables cannot be set from text. On failure `error`
// says why and nothing changes.
bool SetParamByName(IParamBlock2& block, std::string_view name, std::string_view value,
                    std::string& error);
