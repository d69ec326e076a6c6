#pragma once

#include <QString>

class QTextStream;

namespace tavrik {

// Writes "tavrik: <message>" on the command's error stream at once and gives back `status`,
// the exit status the command returns.
int failCommand(QTextStream& err, const QString& message, int status);

} // namespace tavrik
