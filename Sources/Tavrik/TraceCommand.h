#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik trace RECORDING-ID [--narration TEXT]`: prints the text that synthesis would send for a
// stored recording (the trace, and the narration block when a transcript is given), then the
// frames that would be attached with their sizes after downscaling. Nothing is sent anywhere.
int runTraceCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
