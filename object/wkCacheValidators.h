// The three node validators of the cache object, installed on the shared block description
// each time the object's panel opens: `nodes` takes recordable nodes not in the list yet,
// `explodeToNode` any node that does not depend on the object, `triggerOmni` omni lights only.
#pragma once

#include "host/ParamBlock.h"

class wkCache_obj;

// A validator that judges nodes for one cache object.
class wkCacheObjectNodeValidator : public PBValidator {
public:
    explicit wkCacheObjectNodeValidator(wkCache_obj* object_) : object(object_) {}

protected:
    wkCache_obj* object;
};

class wkCacheNodesValidator final : public wkCacheObjectNodeValidator {
public:
    using wkCacheObjectNodeValidator::wkCacheObjectNodeValidator;
    bool Validate(INode* node) override;
};

class wkCacheExplodeNodeValidator final : public wkCacheObjectNodeValidator {
public:
    using wkCacheObjectNodeValidator::wkCacheObjectNodeValidator;
    bool Validate(INode* node) override;
};

class wkCacheHelperValidator final : public PBValidator {
public:
    bool Validate(INode* node) override;
};

// The four tests that both node validators start with: a node, no reference loop, not
// deleted, and not depending on the object.
bool PassesCommonNodeTests(wkCache_obj& object, INode* node);
