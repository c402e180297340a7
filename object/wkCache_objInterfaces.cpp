// The object's script interfaces, made by the makers their implementations registered.
#include "object/wkCache_obj.h"

#include "host/InterfaceServer.h"

FPInterface* wkCache_obj::GetInterface(Interface_ID id) {
    for (auto& [known, fp] : interfaces)
        if (known == id)
            return fp.get();
    const InterfaceMaker maker = FindClassInterface(kClassID, id);
    if (!maker)
        return nullptr;
    interfaces.emplace_back(id, maker(this));
    return interfaces.back().second.get();
}
