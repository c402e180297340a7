// The view a render mesh is made for: its world-to-view matrix and its screen size. Objects
// may make their render meshes depend on it (level of detail); recording passes a fixed one.
#pragma once

#include "host/Matrix3.h"

class View {
public:
    Matrix3 worldToView{true};
    float screenW = 640.0f;
    float screenH = 480.0f;
};
