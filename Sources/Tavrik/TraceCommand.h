#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik trace RECORDING [--narration TEXT]`, RECORDING being an id or its folder in the
// library: shows what synthesis would send for a stored recording before anything leaves the
// machine: the text exactly, then the frames that would be attached with their sizes after
// downscaling.
int traceRecording(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
