#include "elements/wkCacheGroupChunk.h"

#include "host/Host.h"
#include "host/Utf8.h"

#include <algorithm>
#include <string>

namespace {

constexpr const wchar_t* kIncompatibleText =
    L"The element groups stored in this max file could not be loaded because they are "
    L"incompatible with this version of the Welkard Cache plugin.";
constexpr const wchar_t* kIncompatibleCaption = L"Welkard Cache - Loading Groups";

// The name in exactly `length` bytes: the whole UTF-8 characters that fit, then zero bytes.
std::string storedName(const WStr& name, std::size_t length) {
    std::string bytes = wkhost::EncodeUtf8(name.view());
    std::size_t cut = std::min(length, bytes.size());
    if (cut < bytes.size()) {
        while (cut > 0 && (static_cast<unsigned char>(bytes[cut]) & 0xC0) == 0x80)
            --cut;
    }
    bytes.resize(cut);
    bytes.resize(length, '\0');
    return bytes;
}

wkCacheGroupIO readGroup(wkCacheChunkReader& in, wkCacheGroup& group) {
    if (!in.readI32(group.version))
        return wkCacheGroupIO::readError;
    if (group.version < wkCacheGroup::kStoredVersion) {
        GetHost().UI().MessageBox(WStr(kIncompatibleText), WStr(kIncompatibleCaption),
                                  MB_OK | MB_ICONEXCLAMATION);
        return wkCacheGroupIO::incompatible;
    }

    std::int32_t nameLength = 0;
    std::span<const std::uint8_t> nameBytes;
    if (!in.readI32(nameLength) || nameLength < 0 ||
        !in.readBytes(static_cast<std::size_t>(nameLength), nameBytes))
        return wkCacheGroupIO::readError;
    // The name ends at its first zero byte, as the writer pads with them.
    const auto end = std::find(nameBytes.begin(), nameBytes.end(), std::uint8_t{0});
    const std::string_view narrow(reinterpret_cast<const char*>(nameBytes.data()),
                                  static_cast<std::size_t>(end - nameBytes.begin()));
    group.setName(WStr::FromUTF8(narrow));

    std::int32_t elementCount = 0;
    if (!in.readI32(elementCount) || elementCount < 0 ||
        in.remaining() / 4 < static_cast<std::size_t>(elementCount))
        return wkCacheGroupIO::readError;
    for (std::int32_t i = 0; i < elementCount; ++i) {
        std::uint32_t element = 0;
        if (!in.readU32(element))
            return wkCacheGroupIO::readError;
        group.elements.insert(element);
    }

    std::int32_t mode = 0;
    const bool read = in.readI32(mode) && in.readBool(group.enabled) && in.readF32(group.offset) &&
                      in.readI32(group.materialId) && in.readBool(group.respectActivation) &&
                      in.readF32(group.distance) && in.readF32(group.age);
    // Stored values are taken as they are: a mode outside the six does nothing when evaluated.
    group.mode = static_cast<wkCacheGroupMode>(mode);
    return read ? wkCacheGroupIO::ok : wkCacheGroupIO::readError;
}

bool writeGroup(wkCacheByteSink& out, const wkCacheGroup& group) {
    const std::int32_t nameLength = group.name.Length();
    const std::string name = storedName(group.name, static_cast<std::size_t>(nameLength));
    if (!writeI32(out, wkCacheGroup::kStoredVersion) || !writeI32(out, nameLength) ||
        !out.write({reinterpret_cast<const std::uint8_t*>(name.data()), name.size()}) ||
        !writeI32(out, static_cast<std::int32_t>(group.elements.size())))
        return false;
    for (const std::uint32_t element : group.elements) {
        if (!writeU32(out, element))
            return false;
    }
    return writeI32(out, static_cast<std::int32_t>(group.mode)) && writeBool(out, group.enabled) &&
           writeF32(out, group.offset) && writeI32(out, group.materialId) &&
           writeBool(out, group.respectActivation) && writeF32(out, group.distance) &&
           writeF32(out, group.age);
}

} // namespace

wkCacheGroupIO loadGroups(wkCacheGroupList& list, std::span<const std::uint8_t> chunk) {
    list.clear();
    wkCacheChunkReader in(chunk);
    std::int32_t count = 0;
    if (!in.readI32(count))
        return wkCacheGroupIO::readError;
    for (std::int32_t i = 0; i < count; ++i) {
        wkCacheGroup group;
        const wkCacheGroupIO result = readGroup(in, group);
        if (result != wkCacheGroupIO::ok) {
            list.clear();
            return result;
        }
        list.addRecord(group);
    }
    return wkCacheGroupIO::ok;
}

wkCacheGroupIO saveGroups(const wkCacheGroupList& list, wkCacheByteSink& sink) {
    if (!writeI32(sink, list.count()))
        return wkCacheGroupIO::ok;
    for (const wkCacheGroup& group : list.all()) {
        if (!writeGroup(sink, group))
            return wkCacheGroupIO::writeError;
    }
    return wkCacheGroupIO::ok;
}
