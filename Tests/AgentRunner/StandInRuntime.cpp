#include "AgentRunner/StandInRuntime.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tavrik::test {

namespace {
const char* const kCli = R"js(
import { spawn } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";

const [command, folder, ...rest] = process.argv.slice(2);
const params = Object.fromEntries(rest.map((a) => [a.slice(0, a.indexOf("=")), a.slice(a.indexOf("=") + 1)]));
if (command !== "agent" || !folder) { console.log("✗ usage"); process.exit(2); }
if (params.echo) for (const a of rest) console.log("· arg: " + a);
const lines = params.lines ? params.lines.split("|") : [];
if (params.delay) {
  // One line per pause, the way a real run reports as it goes.
  const timer = setInterval(() => {
    if (lines.length) console.log(lines.shift());
    else { clearInterval(timer); process.exit(Number(params.exit ?? 0)); }
  }, Number(params.delay));
} else if (params.hang) {
  for (const l of lines) console.log(l);
  const stat = readFileSync("/proc/self/stat", "utf8");
  const pgrp = stat.slice(stat.lastIndexOf(")") + 2).split(" ")[2];
  spawn(process.execPath, ["-e", "setInterval(() => {}, 1000)"], { stdio: "ignore" });
  if (params.pgrp_file) writeFileSync(params.pgrp_file, pgrp);
  console.log("· waiting");
  setInterval(() => {}, 1000);
} else {
  for (const l of lines) console.log(l);
  process.exit(Number(params.exit ?? 0));
}
)js";
} // namespace

StandInRuntime::StandInRuntime() {
    const QString modules = QStringLiteral(TAVRIK_SOURCE_DIR "/runtime/node_modules");
    if (!QFileInfo::exists(modules + QStringLiteral("/.bin/tsx")))
        return;
    QDir(m_dir.path()).mkpath(QStringLiteral("src"));
    QFile package(m_dir.path() + QStringLiteral("/package.json"));
    QFile cli(m_dir.path() + QStringLiteral("/src/cli.ts"));
    if (!package.open(QIODevice::WriteOnly) || !cli.open(QIODevice::WriteOnly))
        return;
    package.write(R"({"name": "stand-in-runtime", "private": true, "type": "module"})");
    cli.write(kCli);
    m_usable = QFile::link(modules, m_dir.path() + QStringLiteral("/node_modules"));
}

} // namespace tavrik::test
