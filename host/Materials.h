// Materials as the core sees them, and the host service that loads material libraries.
//
// MtlBase is anything a material library holds: a material (Mtl, superclass 3072) or a texture
// map (Texmap, superclass 3088). A material has sub-material slots: the material ids of a mesh
// pick among them. MtlBaseLib is a library, an ordered list of entries; the host loads one from
// a .mat file through the Materials service.
//
// Ownership: entries are shared. A library keeps its entries alive, and so does a scene node or
// another material that uses one; the core hands out plain pointers (Mtl*) that are valid while
// the library holding the entry lives.
#pragma once

#include "host/ClassID.h"
#include "host/Strings.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

inline constexpr SClass_ID MATERIAL_CLASS_ID = 0xC00; // 3072
inline constexpr SClass_ID TEXMAP_CLASS_ID = 0xC10;   // 3088

class MtlBase {
public:
    virtual ~MtlBase() = default;

    virtual SClass_ID SuperClassID() const = 0;

    const WStr& GetName() const { return name; }
    void SetName(const WStr& newName) { name = newName; }

protected:
    explicit MtlBase(WStr name_) : name(std::move(name_)) {}

private:
    WStr name;
};

class Mtl : public MtlBase {
public:
    explicit Mtl(WStr name = WStr()) : MtlBase(std::move(name)) {}

    SClass_ID SuperClassID() const override { return MATERIAL_CLASS_ID; }

    // Sub-material slots; a slot may be empty. A material without slots is a plain one.
    int NumSubMtls() const { return static_cast<int>(subMtls.size()); }
    // New slots are empty; a negative count gives none.
    void SetNumSubMtls(int n);
    // Null for an empty slot or an index outside the slots.
    Mtl* GetSubMtl(int i) const;
    std::shared_ptr<Mtl> ShareSubMtl(int i) const;
    // Ignored for an index outside the slots.
    void SetSubMtl(int i, std::shared_ptr<Mtl> mtl);

private:
    std::vector<std::shared_ptr<Mtl>> subMtls;
};

class Texmap : public MtlBase {
public:
    explicit Texmap(WStr name = WStr()) : MtlBase(std::move(name)) {}

    SClass_ID SuperClassID() const override { return TEXMAP_CLASS_ID; }
};

class MtlBaseLib {
public:
    int Count() const { return static_cast<int>(entries.size()); }
    bool IsEmpty() const { return entries.empty(); }
    // Null for an index outside the list.
    MtlBase* operator[](int i) const;
    std::shared_ptr<MtlBase> Share(int i) const;

    // Appends the entry unless the list holds it already; answers its index, or -1 for null.
    int AddMtl(std::shared_ptr<MtlBase> mtl);
    // The index of the entry, or -1.
    int FindMtl(const MtlBase* mtl) const;
    void Remove(int i);
    void Empty() { entries.clear(); }

private:
    std::vector<std::shared_ptr<MtlBase>> entries;
};

// The host's material library operations.
class Materials {
public:
    virtual ~Materials() = default;

    // Appends the entries of the library file at `path` to `lib`, in the file's order. On
    // failure (no such file, not a library) answers false and leaves `lib` as it was.
    virtual bool LoadMaterialLibrary(const WStr& path, MtlBaseLib& lib) = 0;
    // Writes `lib` to a library file at `path`, replacing it; false if it cannot be written.
    virtual bool SaveMaterialLibrary(const WStr& path, const MtlBaseLib& lib) = 0;
};
