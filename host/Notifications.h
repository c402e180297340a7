// The host's broadcast notifications: a callback registered for a code is called, with its
// parameter, each time the host broadcasts that code.
#pragma once

#include <algorithm>
#include <vector>

using NotifyCallback = void (*)(void* param, int code);

// The codes broadcast here.
enum NotifyCode : int {
    // What a bulk change of a node list sends around itself, so that a list is refreshed once.
    kNotifyBulkChangeStarts = 70,
    kNotifyBulkChangeEnds = 71,
    // What the scene broadcasts: a node came into the scene (made, or brought back by an undo),
    // and a node left it (deleted, or taken out by an undo); the node is out of the scene, with
    // its deleted flag set, by the time the callbacks run.
    kNotifyNodeAdded = 97,
    kNotifyNodeDeleted = 98,
};

class Notifications {
public:
    // The same callback, parameter and code twice registers once.
    void RegisterNotification(NotifyCallback callback, void* param, int code) {
        if (std::find(list.begin(), list.end(), Entry{callback, param, code}) == list.end())
            list.push_back({callback, param, code});
    }
    void UnRegisterNotification(NotifyCallback callback, void* param, int code) {
        std::erase(list, Entry{callback, param, code});
    }
    // Calls every callback of `code`, in the order of registration; a callback may unregister.
    void BroadcastNotification(int code) {
        const std::vector<Entry> now = list;
        for (const Entry& e : now)
            if (e.code == code)
                e.callback(e.param, code);
    }
    int Count() const { return static_cast<int>(list.size()); }

private:
    struct Entry {
        NotifyCallback callback;
        void* param;
        int code;
        bool operator==(const Entry&) const = default;
    };
    std::vector<Entry> list;
};
