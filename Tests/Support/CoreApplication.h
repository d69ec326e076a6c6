#pragma once

class QCoreApplication;

namespace tavrik::test {

// Tests that use Qt's event loop (network, timers) need an application object; gtest's main does
// not make one. The first call creates it and it lives until the process ends.
QCoreApplication* ensureCoreApplication();

} // namespace tavrik::test
