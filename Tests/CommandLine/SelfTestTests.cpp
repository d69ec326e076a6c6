#include "Support/TempSupportFolder.h"
#include "Tavrik/SelfTest.h"
#include "TavrikCore/Storage/Paths.h"

#include <QDir>
#include <QProcess>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
const QString kAllGreen = QStringLiteral("Tavrik self-test\n"
                                         "\n"
                                         "SkillStore round-trip:\n"
                                         "  ✓ name preserved\n"
                                         "  ✓ trigger preserved\n"
                                         "  ✓ mode preserved\n"
                                         "  ✓ app_scope preserved\n"
                                         "  ✓ parameter count\n"
                                         "  ✓ plan step count\n"
                                         "  ✓ templated text preserved\n"
                                         "  ✓ source recording ref\n"
                                         "\n"
                                         "SKILL.md render/parse:\n"
                                         "  ✓ has front-matter\n"
                                         "  ✓ has Steps heading\n"
                                         "  ✓ destructive step marked ⚠️\n"
                                         "  ✓ reparse name\n"
                                         "  ✓ reparse mode\n"
                                         "\n"
                                         "Direct-skill frontmatter:\n"
                                         "  ✓ direct mode parsed\n"
                                         "  ✓ runtime open_url\n"
                                         "  ✓ runtime app\n"
                                         "  ✓ runtime url_template\n"
                                         "  ✓ param parsed\n"
                                         "  ✓ param example\n"
                                         "  ✓ sequence mode\n"
                                         "  ✓ sequence type\n"
                                         "  ✓ sequence opens both\n"
                                         "\n"
                                         "FuzzyMatch:\n"
                                         "  ✓ subsequence match found\n"
                                         "  ✓ prefix beats mid-word\n"
                                         "  ✓ empty query keeps order\n"
                                         "  ✓ no match → empty\n"
                                         "\n"
                                         "RunContext parameter fill:\n"
                                         "  ✓ fills slot\n"
                                         "  ✓ abort flag flips\n"
                                         "\n"
                                         "RecordingStore round-trip:\n"
                                         "  ✓ event count\n"
                                         "  ✓ frame count\n"
                                         "  ✓ secure text dropped\n"
                                         "  ✓ redacted region preserved\n"
                                         "  ✓ display info preserved\n"
                                         "\n"
                                         "Synthesizer schema:\n"
                                         "  ✓ serializes to JSON\n"
                                         "  ✓ declares strict object\n"
                                         "  ✓ requires plan + parameters\n"
                                         "  ✓ system prompt non-empty\n"
                                         "PASS — all checks green\n");
} // namespace

TEST(SelfTest, AllGreenReportIsExactAndLeavesTheLibraryAlone) {
    test::TempSupportFolder support;
    QString report;
    QTextStream out(&report);
    EXPECT_EQ(SelfTest::run(out), 0);
    EXPECT_EQ(report, kAllGreen);
    EXPECT_FALSE(QFileInfo::exists(Paths::support()));
    EXPECT_EQ(qgetenv("XDG_DATA_HOME"), support.path().toUtf8());
}

TEST(SelfTest, BrokenParserIsReportedOncePerSectionAndFailsTheRun) {
    test::TempSupportFolder support;
    QString report;
    QTextStream out(&report);
    SelfTest::Options broken;
    broken.parse = [](const QString&) { return std::optional<Skill>(); };
    EXPECT_EQ(SelfTest::run(out, broken), 1);
    EXPECT_TRUE(
        report.contains("SKILL.md render/parse:\n  ✗ parse threw\n\nDirect-skill frontmatter:\n"
                        "  ✗ direct parse threw\n  ✗ sequence parse threw\n\nFuzzyMatch:\n"))
        << report.toStdString();
    EXPECT_TRUE(report.endsWith("\n3 check(s) failed\n")) << report.toStdString();
}

TEST(SelfTest, RunsAsAProgramWithoutADisplay) {
    test::TempSupportFolder support;
    QProcess tavrik;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.remove("WAYLAND_DISPLAY");
    environment.insert("QT_QPA_PLATFORM", "offscreen-should-not-be-needed");
    tavrik.setProcessEnvironment(environment);
    tavrik.start(TAVRIK_BINARY_DIR "/tavrik", {"--verbose-is-ignored", "--selftest"});
    ASSERT_TRUE(tavrik.waitForFinished(30000));
    EXPECT_EQ(tavrik.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(tavrik.exitCode(), 0) << tavrik.readAllStandardError().toStdString();
    EXPECT_EQ(QString::fromUtf8(tavrik.readAllStandardOutput()), kAllGreen);
    EXPECT_FALSE(QFileInfo::exists(Paths::support()));
}
