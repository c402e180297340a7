#include "object/wkCacheValidators.h"

#include "host/Host.h"
#include "object/wkCache_obj.h"
#include "recording/RecordCache.h"

bool PassesCommonNodeTests(wkCache_obj& object, INode* node) {
    if (node == nullptr)
        return false;
    SceneNodes& scene = GetHost().Nodes();
    return scene.TestForLoop(node, &object) == REF_SUCCEED && !node->TestAFlag(A_IS_DELETED) &&
           !scene.DependsOn(node, &object);
}

bool wkCacheNodesValidator::Validate(INode* node) {
    // The common tests, the duplicate test and the conversion test.
    return IsRecordableNode(*object, node, true);
}

bool wkCacheExplodeNodeValidator::Validate(INode* node) {
    return PassesCommonNodeTests(*object, node);
}

bool wkCacheHelperValidator::Validate(INode* node) {
    if (node == nullptr)
        return false;
    const SceneObject* evaluated = node->EvalWorldState(GetHost().Time().GetTime(), true).obj;
    return evaluated != nullptr && evaluated->ClassID() == OMNI_LIGHT_CLASS_ID;
}
