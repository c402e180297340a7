// wkCacheRegistry: the open caches of the process, one shared reader per file, with the clients
// that play it.
//
// Objects never own a reader: they ask the registry for the reader of their playback state each
// time they need it. The map is ordered by the full path, compared as WStr (so exactly, and case
// sensitively), and every search walks it in that order. A client is known by its pointer alone;
// the list of clients of an entry is the reader's reference count.
//
// A reader with an error is reloaded at every lookup through openCache, readerOfClient and
// entryReader, so a file that was missing is picked up as soon as it exists and a reader that
// lost its data to a short read is rebuilt. Status 7 (cancelled) is not an error.
#pragma once

#include "cachefile/wkCacheReader.h"
#include "host/Strings.h"

#include <map>
#include <memory>
#include <vector>

class wkCachePlaybackState;

class wkCacheRegistryEntry {
public:
    wkCacheRegistryEntry(const WStr& fileName, std::unique_ptr<WelkardTools::wkCacheReader> reader);

    // The reader, reloaded first if it has an error.
    WelkardTools::wkCacheReader* entryReader();
    int entryClientCount() const { return static_cast<int>(clients.size()); }
    // No range test: index must lie below entryClientCount().
    wkCachePlaybackState* entryClient(int index) const {
        return clients[static_cast<std::size_t>(index)];
    }

    std::vector<wkCachePlaybackState*> clients; // in order of attachment, not owned
    std::unique_ptr<WelkardTools::wkCacheReader> reader;
    WStr fileName;
};

class wkCacheRegistry {
public:
    wkCacheRegistry() = default;
    // Readers still open at the end are deleted with the registry, which closes their files.
    ~wkCacheRegistry() = default;
    wkCacheRegistry(const wkCacheRegistry&) = delete;
    wkCacheRegistry& operator=(const wkCacheRegistry&) = delete;

    // The reader of `fileName`, made (and loaded) if the file has no entry yet, and reloaded if it
    // has an error; returned also when it still has one, so the caller tests hasError(). isNew
    // tells whether `client` was attached by this call. A client that comes for a file not yet
    // open is first released from every other entry; one that comes for an open file it is not
    // attached to is added to it and stays where else it was.
    WelkardTools::wkCacheReader* openCache(wkCachePlaybackState* client, const WStr& fileName,
                                           bool& isNew);
    bool containsCache(const WStr& fileName) const;
    // Removes the entry and deletes its reader; answers the clients it had, who are not told.
    std::vector<wkCachePlaybackState*> evictCache(const WStr& fileName);
    // Removes every entry, closing all files; the clients are not told.
    void evictAll() { map.clear(); }
    // Takes the client off every entry (its first occurrence in each), and removes every entry
    // left without clients, whether or not it held this one.
    void releaseClient(wkCachePlaybackState* client);
    // The first entry in key order whose clients hold `client`, or null.
    wkCacheRegistryEntry* findEntryOfClient(wkCachePlaybackState* client);
    // The reader of findEntryOfClient, reloaded first if it has an error; null without an entry.
    WelkardTools::wkCacheReader* readerOfClient(wkCachePlaybackState* client);

    // Iteration over all entries in key order (the info print).
    const std::map<WStr, std::unique_ptr<wkCacheRegistryEntry>>& entries() const { return map; }

    // The host's material library service, handed to every reader made from now on; without one
    // the readers' libraries stay empty. It must outlive those readers.
    void setMaterials(Materials* service) { materials = service; }

private:
    std::map<WStr, std::unique_ptr<wkCacheRegistryEntry>> map;
    Materials* materials = nullptr;
};

// The one registry of the process.
extern wkCacheRegistry theCacheRegistry;
