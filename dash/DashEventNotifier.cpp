#include "dash/DashEventNotifier.h"

namespace dash {

void DashEventNotifier::registerListener(const DashDownloadEvent& event, std::function<void()> listener) {
    listeners[event].push_back(std::move(listener));
}

void DashEventNotifier::notify(DashDownloadEvent event) {
    for (const auto& listener : listeners[event]) {
        listener();
    }
}

}  // namespace dash
