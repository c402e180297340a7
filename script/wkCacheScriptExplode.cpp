// explode and reduceKeys of WK_Cache_Fns: script values in, the explode and key reduction of
// the panels out.
#include "explode/ExplodeToObjects.h"
#include "explode/ReduceKeys.h"
#include "host/ScriptError.h"
#include "object/wkCache_obj.h"
#include "script/wkCacheScriptOps.h"

namespace wkCacheScript {

namespace {

// Adds the controllers of one script value; an array only at the top level.
void addControllers(const Value& value, ControlSet& controllers, bool inArray) {
    if (!inArray && value.is<Value::Array>()) {
        for (const Value& item : value.get<Value::Array>())
            addControllers(item, controllers, true);
        return;
    }
    // A node or controller that is gone (null) adds nothing and is no error.
    if (value.is<ScriptController>()) {
        if (auto* control = dynamic_cast<Control*>(value.get<ScriptController>().control))
            controllers.insert(control);
        return;
    }
    if (value.is<INode*>()) {
        if (INode* node = value.get<INode*>())
            AddTransformControllers(*node, controllers);
        return;
    }
    // String 114, followed by the offending value.
    throw ScriptError(WStr(L"controller parameter must be (an array of) nodes/controllers, got: ") +
                      value.ToScriptText());
}

} // namespace

Value explode(wkCache_obj& object, const FPParams& p) {
    INodeTab nodes;
    // Quiet: a script's explode leaves the scene's selection as it was.
    ExplodeToObjects(object, p[0].value.toInterval(), p[1].value.toTime(), nodes,
                     p[6].value.toNode(), p[2].value.toInt() == 1, p[3].value.toInt() == 1,
                     p[4].value.toTime(), p[5].value.toFloat(), true);
    Value::Array made;
    for (int i = 0; i < nodes.Count(); ++i)
        made.push_back(Value(nodes[i]));
    return Value(std::move(made));
}

bool reduceKeys(wkCache_obj& object, const FPParams& p) {
    ControlSet controllers;
    addControllers(p[0].value, controllers, false);
    // The step goes through as given: the reduction does nothing below one tick.
    return ReduceKeys(object, controllers, p[1].value.toInterval(), p[2].value.toTime(),
                      p[3].value.toFloat());
}

} // namespace wkCacheScript
