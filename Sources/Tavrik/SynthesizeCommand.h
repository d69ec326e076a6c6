#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik synthesize RECORDING-ID [--narration TEXT] [--save]`: writes a skill from a stored
// recording as the application does, streaming the SKILL.md to `out` as it arrives; with --save
// the skill joins the library. A failure says what to do, as the skill panel does.
int synthesizeRecording(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
