// Class descriptors and module exports: how the host meets a plug-in module. A module exports
// six functions; through them the host learns how many classes the module has and gets one
// descriptor per class, which names the class and makes its objects.
#pragma once

#include "host/ClassID.h"

class SceneObject;

// The version a module must answer from LibVersion to be loaded.
inline constexpr unsigned long kHostPluginApiVersion = 0x69784200;

class ClassDesc2 {
public:
    virtual ~ClassDesc2() = default;

    // 1 when users may create the class.
    virtual int IsPublic() = 0;
    // A new object; `loading` when it is made for a scene being loaded. The caller owns it.
    virtual SceneObject* Create(bool loading) = 0;
    virtual const wchar_t* ClassName() = 0;
    virtual const wchar_t* NonLocalizedClassName() = 0;
    virtual const wchar_t* InternalName() = 0;
    virtual SClass_ID SuperClassID() = 0;
    virtual Class_ID ClassID() = 0;
    virtual const wchar_t* Category() = 0;
    // The module handle saved when the module was loaded.
    virtual void* HInstance() = 0;
};

// The six exports, as the host calls them.
extern "C" {
using LibDescriptionFn = const wchar_t* (*)();
using LibNumberClassesFn = int (*)();
using LibClassDescFn = ClassDesc2* (*)(int);
using LibVersionFn = unsigned long (*)();
using LibInitializeFn = int (*)();
using LibShutdownFn = int (*)();
}
