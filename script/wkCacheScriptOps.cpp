#include "script/wkCacheScriptOps.h"

#include "cachefile/wkCacheRegistry.h"
#include "cachefile/wkCacheSizeText.h"
#include "host/Host.h"
#include "host/INode.h"
#include "host/ScriptError.h"
#include "object/wkCache_obj.h"
#include "recording/RecordCache.h"
#include "script/wkCache_mxs.h"

#include <iterator>
#include <limits>
#include <set>

using WelkardTools::wkCacheReader;

namespace wkCacheScript {

namespace {

// The change message, and its partition, of a new element selection.
constexpr int kSelectionChanged = 80;
constexpr const wchar_t* kNoSuchGroup = L"No group with that name exists";
// The action names, in the order of the modes.
constexpr const wchar_t* kModeNames[] = {L"delete", L"holdin",   L"holdout",
                                         L"delay",  L"setframe", L"setmatid"};

// The ordered set of 0-based indices of a script's 1-based indices, cut to the element count.
std::set<std::uint32_t> indexSet(BitArray bits, int elementCount) {
    bits.SetSize(elementCount, 1);
    std::set<std::uint32_t> set;
    for (int i = 0; i < elementCount; ++i)
        if (bits[i])
            set.insert(static_cast<std::uint32_t>(i));
    return set;
}

// A BitArray of `size` with the bits of `indices` below it.
BitArray bitsOf(const std::set<std::uint32_t>& indices, int size) {
    BitArray bits(size);
    for (std::uint32_t i : indices)
        if (i < static_cast<std::uint32_t>(size))
            bits.Set(static_cast<int>(i));
    return bits;
}

} // namespace

const wkCacheReader* usableReader(wkCache_obj& object) {
    const wkCacheReader* reader = theCacheRegistry.readerOfClient(&object.playbackRecord());
    if (!reader || reader->hasError() || reader->cacheNumNodes() <= 0)
        return nullptr;
    return reader;
}

const wkCacheGroup& existingGroup(wkCache_obj& object, const WStr& name) {
    const wkCacheGroupList& groups = object.playbackRecord().groups;
    const int index = groups.find(name);
    if (index < 0)
        throw ScriptError(kNoSuchGroup);
    return groups.at(index);
}

bool record(wkCache_obj& object, const Value& fileName) {
    if (fileName.isUndefined())
        return RecordCache(object, nullptr, true) == 1;
    const WStr name = RecordFileName(fileName.toString());
    return RecordCache(object, &name, true) == 1;
}

Value elementNames(wkCache_obj& object, const WStr& pattern) {
    Value::Array names;
    const wkCacheReader* reader = usableReader(object);
    if (!reader || !reader->getIndex())
        return Value(std::move(names));
    const WStr match = pattern.IsEmpty() ? WStr(L"*") : pattern;
    const auto& nodes = reader->getIndex()->nodes;
    for (std::size_t i = 0; i < nodes.size(); ++i)
        if (MatchPattern(nodes[i]->name, match, true))
            names.push_back(
                Value(Value::Array{Value(static_cast<std::int32_t>(i)), Value(nodes[i]->name)}));
    return Value(std::move(names));
}

Value elementSelection(wkCache_obj& object) {
    const wkCacheReader* reader = usableReader(object);
    if (!reader)
        return Value(BitArray());
    return Value(bitsOf(object.elementSelection(), reader->cacheNumNodes()));
}

Value setElementSelection(wkCache_obj& object, const Value& indices) {
    const wkCacheReader* reader = usableReader(object);
    const int count = reader ? reader->cacheNumNodes() : 0;
    // Converted before the reader is asked for, so that a bad index raises even without a file.
    const BitArray bits = indices.toBitArray(count);
    if (!reader)
        return Value(BitArray());
    std::set<std::uint32_t> selection = indexSet(bits, count);
    if (selection != object.elementSelection()) {
        object.setElementSelection(std::move(selection));
        Host& host = GetHost();
        host.Nodes().RedrawViews(host.Time().GetTime());
        object.notifyDependents(kSelectionChanged, kSelectionChanged);
    }
    return Value(bitsOf(object.elementSelection(), count));
}

bool addGroup(wkCache_obj& object, const WStr& name, bool addSelected) {
    // An unnamed group is named here, without asking, and takes the element selection whatever
    // addSelected says.
    if (name.IsEmpty())
        return object.addGroup(object.playbackRecord().groups.makeUniqueName(L"Group001"), true);
    return object.addGroup(name, addSelected);
}

Value selectedGroupName(wkCache_obj& object) {
    const wkCacheGroupList& groups = object.playbackRecord().groups;
    const int selected = groups.selected();
    if (selected < 0 || selected >= groups.count())
        return Value(WStr());
    return Value(groups.at(selected).name);
}

Value groupModeName(const wkCacheGroup& group) {
    const auto mode = static_cast<std::int32_t>(group.mode);
    if (mode < 0 || mode >= kGroupModeCount)
        throw ScriptError(L"Group mode invalid");
    return Value(ScriptName{WStr(kModeNames[mode])});
}

bool setGroupMode(wkCache_obj& object, const WStr& name, const Value& mode) {
    WStr word = mode.toString();
    word.toLower();
    int found = -1;
    for (int i = 0; i < kGroupModeCount && found < 0; ++i)
        if (word == WStr(kModeNames[i]))
            found = i;
    // The mode is checked before the name.
    if (found < 0)
        throw ScriptError(L"Invalid mode, expected one of : #delete, #holdin, #holdout, #delay, "
                          L"#setframe, #setmatid");
    if (!object.setGroupMode(name, found))
        throw ScriptError(kNoSuchGroup);
    return true;
}

Value groupElements(const wkCacheGroup& group) {
    // Sized to the largest index plus one, among the indices a bit set can hold: a scene file may
    // carry any 32-bit index.
    const auto reach = static_cast<std::uint32_t>(std::numeric_limits<int>::max());
    const auto fits = group.elements.lower_bound(reach);
    const int size = fits == group.elements.begin() ? 0 : static_cast<int>(*std::prev(fits)) + 1;
    return Value(bitsOf(group.elements, size));
}

bool changeGroupElements(wkCache_obj& object, const WStr& name, const Value& indices,
                         ElementChange change) {
    const wkCacheReader* reader = usableReader(object);
    const int count = reader ? reader->cacheNumNodes() : 0;
    // A bad index raises before an unknown name.
    const BitArray bits = indices.toBitArray(count);
    existingGroup(object, name);
    if (!reader)
        return false;
    const std::set<std::uint32_t> elements = indexSet(bits, count);
    switch (change) {
    case ElementChange::Set:
        return object.setGroupElements(name, elements, false, false);
    case ElementChange::Add:
        return object.setGroupElements(name, elements, true, false);
    case ElementChange::Remove:
        return object.removeGroupElements(name, elements);
    }
    return false;
}

bool setGroupMatID(wkCache_obj& object, const WStr& name, std::int32_t matID) {
    existingGroup(object, name);
    if (matID < 1 || matID > 99) {
        WStr text;
        text.printf(L"%s < %g or > %g: %g", L"Material ID out of range (1-99)", 1.0, 99.0,
                    static_cast<double>(matID));
        throw ScriptError(text);
    }
    return object.setGroupMaterial(name, matID - 1);
}

FPValue cacheFact(wkCache_obj& object, FunctionID getter) {
    const wkCacheReader* r = usableReader(object);
    auto number = [&](std::int32_t type, std::int32_t n) { return FPValue{type, Value(n)}; };
    switch (getter) {
    case wkCache_mxs::propCacheStart:
        return FPValue{FPT_TIMEVALUE, Value(ScriptTime{r ? r->range().Start() : 0})};
    case wkCache_mxs::propCacheEnd:
        return FPValue{FPT_TIMEVALUE, Value(ScriptTime{r ? r->range().End() : 0})};
    case wkCache_mxs::propCacheStepSize:
        return number(FPT_INT, r ? r->step() : 0);
    case wkCache_mxs::propCacheFrameRate:
        return number(FPT_INT, r ? r->cacheFrameRate() : 0);
    case wkCache_mxs::propCacheNumNodes:
        return number(FPT_INT, r ? r->cacheNumNodes() : 0);
    case wkCache_mxs::propCacheNumSamples:
        return number(FPT_INT, r ? r->cacheNumSamples() : 0);
    case wkCache_mxs::propCacheHasVisibility:
        return number(FPT_BOOL, r && r->cacheHasVisibility() ? 1 : 0);
    default:
        return number(FPT_BOOL, r && r->cacheHasSpecifiedNormals() ? 1 : 0);
    }
}

void debugPrint() {
    Listener& out = GetHost().Listener();
    auto line = [&](const wchar_t* format, auto... args) {
        WStr text;
        text.printf(format, args...);
        out.Print(text);
    };
    for (const auto& [path, entry] : theCacheRegistry.entries()) {
        // Through the entry, which reloads a failed reader: a file that has come since shows.
        const wkCacheReader* reader = entry->entryReader();
        line(L"Cache File : \"%s\"\n", path.data());
        const auto size = [](std::int64_t bytes) {
            return WelkardTools::FormatCacheSize(static_cast<std::uint64_t>(bytes < 0 ? 0 : bytes));
        };
        line(L"\tFile size        : %s\n", size(reader ? reader->fileSize() : 0).data());
        line(L"\tMesh size        : %s\n", size(reader ? reader->meshSize() : 0).data());
        line(L"\tAnimation size   : %s\n", size(reader ? reader->animationSize() : 0).data());
        line(L"\tNumber of Frames : %i\n", reader ? reader->cacheNumSamples() : 0);
        line(L"\tStep Size        : %i ticks\n", reader ? reader->step() : 0);
        line(L"\tFrameRate        : %i FPS\n", reader ? reader->cacheFrameRate() : 0);
        line(L"\tObjects          : %i\n", reader ? reader->cacheNumNodes() : 0);
        out.Print(L"\n");
        const int records = entry->entryClientCount();
        line(L"\tReferenced by %i node%s%s\n", records, records == 1 ? L"" : L"s",
             records > 0 ? L" :" : L"");
        for (int i = 0; i < records; ++i) {
            const wkCachePlaybackState* client = entry->entryClient(i);
            if (!client || !client->owner) {
                out.Print(L"\t\tNULL\n");
                continue;
            }
            const std::vector<INode*> nodes = GetHost().Nodes().NodesReferencing(client->owner);
            if (nodes.empty()) {
                out.Print(L"\t\tEmpty (possibily deleted)\n");
                continue;
            }
            WStr names(L"\t\t");
            for (std::size_t n = 0; n < nodes.size(); ++n) {
                WStr name;
                name.printf(L"%s$'%s'", n ? L", " : L"", nodes[n]->GetName().data());
                names += name;
            }
            out.Print(names + WStr(L"\n"));
        }
    }
}

} // namespace wkCacheScript
