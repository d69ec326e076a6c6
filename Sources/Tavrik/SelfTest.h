#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QTextStream>
#include <functional>

namespace tavrik {

// `tavrik --selftest`: runs the built-in checks against the core in a throw-away support folder,
// prints one line per check and returns the exit status (0 all green, 1 otherwise). Creates no
// window and needs no display.
class SelfTest {
public:
    struct Options {
        // Seams for proving the report notices a broken parser.
        std::function<std::optional<Skill>(const QString&)> parse;
    };

    static int run(QTextStream& out);
    static int run(QTextStream& out, const Options& options);
};

} // namespace tavrik
