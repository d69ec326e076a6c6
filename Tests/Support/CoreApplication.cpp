#include "Support/CoreApplication.h"

#include <QCoreApplication>

namespace tavrik::test {

QCoreApplication* ensureCoreApplication() {
    if (QCoreApplication* existing = QCoreApplication::instance())
        return existing;
    static int argc = 1;
    static char name[] = "tavrik-tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    return app;
}

} // namespace tavrik::test
