#ifndef TERMINATIONSIGNALS_H
#define TERMINATIONSIGNALS_H

#include <functional>

/// Calls @p onTermination in the event loop when the process is asked to end (SIGINT, SIGTERM), so
/// that it can close its connections and go, and @p onReload with each SIGHUP, if there is one.
void handleTermination(const std::function<void()> &onTermination,
                       const std::function<void()> &onReload = {});

#endif
