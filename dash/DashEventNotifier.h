#pragma once

#include <functional>
#include <map>
#include <vector>

#include "dash/DashDownloadEvent.h"

namespace dash {

// Publish/subscribe table of session events, one per DASH factory (shared by every session).
// No lock: listeners are registered from the controlling thread before a session starts; notify
// runs on the controlling thread (start, status) and on the downloader thread (errors). Listeners
// run on the notifying thread and must not block.
class DashEventNotifier {
public:
    virtual ~DashEventNotifier() {}

    // Appends the listener to its event's list (registration order is call order). Never removed.
    void registerListener(const DashDownloadEvent& event, std::function<void()> listener);

    // Calls every listener of the event in registration order. An event without listeners leaves
    // an empty entry behind (map subscript). An empty std::function among the listeners throws
    // std::bad_function_call to the caller.
    void notify(DashDownloadEvent event);

private:
    std::map<DashDownloadEvent, std::vector<std::function<void()>>> listeners;
};

}  // namespace dash
