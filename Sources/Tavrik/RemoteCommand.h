#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik record`, `tavrik palette` and `tavrik cast REF [NAME=VALUE ...] --in-app`: asks the
// running application over the session bus (Shell/RemoteControl) and returns at once.
int runRemoteCommand(const QString& command, const QStringList& arguments, QTextStream& out,
                     QTextStream& err);

} // namespace tavrik
