#include "host/InterfaceServer.h"

#include <vector>

namespace {

struct Entry {
    Class_ID cid;
    Interface_ID id;
    InterfaceMaker maker;
};

// Function-local, so that registrations from static initialisers find it ready.
std::vector<Entry>& entries() {
    static std::vector<Entry> table;
    return table;
}

} // namespace

void RegisterClassInterface(Class_ID cid, Interface_ID id, InterfaceMaker maker) {
    for (Entry& e : entries())
        if (e.cid == cid && e.id == id) {
            e.maker = maker;
            return;
        }
    entries().push_back(Entry{cid, id, maker});
}

InterfaceMaker FindClassInterface(Class_ID cid, Interface_ID id) {
    for (const Entry& e : entries())
        if (e.cid == cid && e.id == id)
            return e.maker;
    return nullptr;
}
