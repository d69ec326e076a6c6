#pragma once

#include <functional>

namespace tavrik::test {

// Processes Qt events until `done` holds or the time is up; returns `done()`. The default is long
// because a loaded machine delays the desktop, and a wait that succeeds returns at once.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000);

} // namespace tavrik::test
