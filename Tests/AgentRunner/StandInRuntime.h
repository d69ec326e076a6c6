#pragma once

#include <QString>
#include <QTemporaryDir>

namespace tavrik::test {

// A runtime folder that the agent runner launches exactly like the real one (npx tsx
// src/cli.ts), borrowing tsx from the project's runtime/node_modules. Its cli prints the line
// protocol according to the parameters it is given:
//   exit=N        exit status          lines=a|b|c   print these lines
//   delay=MS      print one line every MS milliseconds, then exit
//   echo=1        print "· arg: X" for each argument after the skill folder
//   hang=1        start a grandchild and wait forever; pgrp_file=PATH gets the process group id
class StandInRuntime {
public:
    StandInRuntime();
    bool isUsable() const { return m_usable; }
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    bool m_usable = false;
};

} // namespace tavrik::test
