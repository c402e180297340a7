// The script listener: the window where script output and reports appear. Text arrives as it
// is printed, line ends included.
#pragma once

#include "host/Strings.h"

class Listener {
public:
    virtual ~Listener() = default;
    virtual void Print(const WStr& text) = 0;
};
