#include "Tavrik/CommandFailure.h"

#include <QTextStream>

namespace tavrik {

int failCommand(QTextStream& err, const QString& message, int status) {
    err << "tavrik: " << message << '\n';
    err.flush();
    return status;
}

} // namespace tavrik
