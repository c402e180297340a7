#include "cachefile/wkCacheRegistry.h"

#include <algorithm>

using WelkardTools::wkCacheReader;

wkCacheRegistry theCacheRegistry;

namespace {

// A reader that failed is loaded again at each use: a missing file heals once it exists.
wkCacheReader* reloadedIfFailed(wkCacheReader* reader) {
    if (reader != nullptr && reader->hasError())
        reader->loadCache();
    return reader;
}

} // namespace

wkCacheRegistryEntry::wkCacheRegistryEntry(const WStr& fileName_,
                                           std::unique_ptr<wkCacheReader> reader_)
    : reader(std::move(reader_)), fileName(fileName_) {}

wkCacheReader* wkCacheRegistryEntry::entryReader() {
    return reloadedIfFailed(reader.get());
}

wkCacheReader* wkCacheRegistry::openCache(wkCachePlaybackState* client, const WStr& fileName,
                                          bool& isNew) {
    isNew = false;
    auto it = map.find(fileName);
    if (it != map.end()) {
        std::vector<wkCachePlaybackState*>& clients = it->second->clients;
        if (std::find(clients.begin(), clients.end(), client) == clients.end()) {
            clients.push_back(client);
            isNew = true;
        }
    } else {
        releaseClient(client);
        auto entry = std::make_unique<wkCacheRegistryEntry>(
            fileName, std::make_unique<wkCacheReader>(fileName, materials));
        entry->clients.push_back(client);
        it = map.emplace(fileName, std::move(entry)).first;
        isNew = true;
    }
    return it->second->entryReader();
}

bool wkCacheRegistry::containsCache(const WStr& fileName) const {
    return map.count(fileName) != 0;
}

std::vector<wkCachePlaybackState*> wkCacheRegistry::evictCache(const WStr& fileName) {
    const auto it = map.find(fileName);
    if (it == map.end())
        return {};
    std::vector<wkCachePlaybackState*> clients = it->second->clients;
    map.erase(it);
    return clients;
}

void wkCacheRegistry::releaseClient(wkCachePlaybackState* client) {
    for (auto it = map.begin(); it != map.end();) {
        std::vector<wkCachePlaybackState*>& clients = it->second->clients;
        const auto found = std::find(clients.begin(), clients.end(), client);
        if (found != clients.end())
            clients.erase(found);
        it = clients.empty() ? map.erase(it) : std::next(it);
    }
}

wkCacheRegistryEntry* wkCacheRegistry::findEntryOfClient(wkCachePlaybackState* client) {
    for (auto& [name, entry] : map) {
        (void)name;
        const auto& clients = entry->clients;
        if (std::find(clients.begin(), clients.end(), client) != clients.end())
            return entry.get();
    }
    return nullptr;
}

wkCacheReader* wkCacheRegistry::readerOfClient(wkCachePlaybackState* client) {
    wkCacheRegistryEntry* entry = findEntryOfClient(client);
    return entry != nullptr ? entry->entryReader() : nullptr;
}
