// The procedural scene of `wkcache demo`: everything a cache can hold, made in code.
//
//  - ten boxes that appear one after another, fall and tumble, bounce on the ground and
//    vanish again (rigid motion with linear and TCB keys, and visibility);
//  - a cloth-like sheet that falls onto a hidden ball and drapes over it, fluttering (a mesh
//    whose vertices change every frame);
//  - an object that turns from a box into a folded plane into a pyramid (topology changes);
//  - a renderable helix spline (a shape recorded through its render mesh);
// and a cache object, "DemoCache", that records all of them over frames 0 to 100 at 30 frames a
// second with deformation and topology on.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"

namespace wkcli {

// Builds the scene into `host` (a fresh one) and answers its cache object.
wkCache_obj& BuildDemoScene(HeadlessHost& host);

} // namespace wkcli
