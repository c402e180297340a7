// The object's script interfaces, made by the makers their implementations registered.
#include "object/wkCache_obj.h"

#include "host/InterfaceServer.h"

BaseInterface* wkCache_obj::GetInterface(Interface_ID id) {
    if (id == MaxSDK::Graphics::IOBJECT_DISPLAY2_INTERFACE_ID)
        return static_cast<MaxSDK::Graphics::IObjectDisplay2*>(this);
    for (auto& [known, fp] : interfaces)
        if (known == id)
            return fp.get();
    const InterfaceMaker maker = FindClassInterface(kClassID, id);
    if (!maker)
        return nullptr;
    interfaces.emplace_back(id, maker(this));
    return interfaces.back().second.get();
}
