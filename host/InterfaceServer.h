// Interfaces that a class offers to scripts, registered by the code that implements them. An
// object asks here in GetInterface, so that it never includes the script layer that drives it.
#pragma once

#include "host/FPInterface.h"

#include <memory>

// Makes the interface for one object of the class; `object` is that object.
using InterfaceMaker = std::unique_ptr<FPInterface> (*)(void* object);

// Registers the maker of interface `id` on class `cid`; a second registration replaces the first.
void RegisterClassInterface(Class_ID cid, Interface_ID id, InterfaceMaker maker);
// The maker, or null.
InterfaceMaker FindClassInterface(Class_ID cid, Interface_ID id);
