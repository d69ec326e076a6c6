#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik replay FOLDER [name=value ...] [--check] [--secrets-on-stdin] [--timings]`: carries out a
// skill's recorded plan on this desktop and prints the runtime's progress lines. Casts start it as
// their child process, so stopping a cast ends it, synthetic input and all. With --check it only
// finds every step's element. Secrets come as one JSON line on standard input.
int replaySkill(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
