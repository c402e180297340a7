// The state of one evaluation of a cache object: the frame state of playback, the element
// groups that act on it, and the object that owns it.
//
// The object owns its playback state, and the state's address is the object's client key in
// the open-cache registry.
#pragma once

#include "elements/wkCacheGroupList.h"
#include "playback/wkCacheElementState.h"

class wkCache_obj;

class wkCachePlaybackState : public wkCacheFrameState {
public:
    explicit wkCachePlaybackState(wkCache_obj* owner_ = nullptr) : owner(owner_) {}

    wkCache_obj* owner;
    wkCacheGroupList groups;
};
