#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>

using namespace tavrik;

// What a user gets from `cmake --install`: the program and everything beside it, checked with
// the desktop's own validators, and the installed program casting a skill from outside the
// checkout, with nothing pointing it at the source tree.
namespace {

struct ProgramRun {
    int status = -1;
    QString out;
    QString err;
};

ProgramRun run(const QString& program, const QStringList& arguments,
               const QString& folder = QDir::tempPath(),
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(240000))
        return {-1, {}, QStringLiteral("%1 did not finish").arg(program)};
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

class Installed : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_prefix = new QTemporaryDir;
        s_install = new ProgramRun(
            run(TAVRIK_CMAKE, {"--install", TAVRIK_BINARY_DIR, "--prefix", s_prefix->path()}));
    }
    static void TearDownTestSuite() {
        delete s_install;
        delete s_prefix;
    }
    void SetUp() override {
        ASSERT_EQ(s_install->status, 0)
            << s_install->out.toStdString() << s_install->err.toStdString();
    }

    static QString path(const QString& relative) { return s_prefix->path() + u'/' + relative; }

    static QTemporaryDir* s_prefix;
    static ProgramRun* s_install;
};

QTemporaryDir* Installed::s_prefix = nullptr;
ProgramRun* Installed::s_install = nullptr;

bool onPath(const QString& tool) {
    return !QStandardPaths::findExecutable(tool).isEmpty();
}

} // namespace

TEST_F(Installed, DesktopEntryMetadataIconsAndManPageAreWhereTheDesktopLooks) {
    const QString entry = path("share/applications/app.tavrik.Tavrik.desktop");
    const QString metainfo = path("share/metainfo/app.tavrik.Tavrik.metainfo.xml");
    ASSERT_TRUE(onPath("desktop-file-validate") && onPath("appstreamcli") && onPath("man"))
        << "needs desktop-file-utils, appstream and man-db (scripts/install-deps test)";
    // KWin serves its screenshots and fake input to the program whose entry asks, named by path.
    QFile entryFile(entry);
    ASSERT_TRUE(entryFile.open(QIODevice::ReadOnly));
    const QString entryText = QString::fromUtf8(entryFile.readAll());
    EXPECT_TRUE(entryText.contains(QStringLiteral("\nExec=") +
                                   QFileInfo(path("bin/tavrik")).absoluteFilePath() + u'\n'))
        << entryText.toStdString();
    EXPECT_TRUE(entryText.contains(
        QStringLiteral("\nX-KDE-DBUS-Restricted-Interfaces=org.kde.KWin.ScreenShot2\n")));
    const ProgramRun desktop = run("desktop-file-validate", {entry});
    EXPECT_EQ(desktop.status, 0) << desktop.out.toStdString() << desktop.err.toStdString();
    EXPECT_TRUE((desktop.out + desktop.err).trimmed().isEmpty()) << desktop.out.toStdString();
    const ProgramRun appstream = run("appstreamcli", {"validate", "--no-net", metainfo});
    EXPECT_EQ(appstream.status, 0) << appstream.out.toStdString() << appstream.err.toStdString();

    EXPECT_TRUE(
        QFileInfo(path("share/icons/hicolor/scalable/apps/app.tavrik.Tavrik.svg")).isFile());
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        const QImage icon(
            path(QStringLiteral("share/icons/hicolor/%1x%1/apps/app.tavrik.Tavrik.png").arg(size)));
        EXPECT_EQ(icon.size(), QSize(size, size)) << size;
        // Drawn, not blank: the corner is clear and the centre carries the mark.
        EXPECT_EQ(qAlpha(icon.pixel(0, 0)), 0) << size;
        EXPECT_EQ(qAlpha(icon.pixel(size / 2, size / 2)), 255) << size;
    }

    // The manual names every command the built-in help names.
    QProcessEnvironment wide = QProcessEnvironment::systemEnvironment();
    wide.insert("MANWIDTH", "200");
    const ProgramRun manual = run("man", {"--warnings", "-l", path("share/man/man1/tavrik.1.gz")},
                                  QDir::tempPath(), wide);
    EXPECT_EQ(manual.status, 0);
    EXPECT_TRUE(manual.err.isEmpty()) << manual.err.toStdString();
    const ProgramRun help = run(path("bin/tavrik"), {"--help"});
    ASSERT_EQ(help.status, 0);
    static const QRegularExpression command(QStringLiteral("^  (--?[a-z-]+|[a-z-]+)\\b"),
                                            QRegularExpression::MultilineOption);
    int named = 0;
    for (auto it = command.globalMatch(help.out); it.hasNext(); ++named) {
        const QString word = it.next().captured(1);
        const QRegularExpression standalone("(?<![\\w-])" + QRegularExpression::escape(word) +
                                            "(?![\\w-])");
        EXPECT_TRUE(manual.out.contains(standalone))
            << word.toStdString() << " is in --help but not in the manual";
    }
    EXPECT_GE(named, 6);
    EXPECT_TRUE(manual.out.contains("journalctl -t tavrik"));
}

TEST_F(Installed, RuntimeHasItsNodeAndOnlyProductionPackages) {
    const QFileInfo node(path("share/tavrik/runtime/node"));
    ASSERT_TRUE(node.isFile() && node.isExecutable()) << node.filePath().toStdString();
    const ProgramRun version = run(node.filePath(), {"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_GE(version.out.mid(1).section(u'.', 0, 0).toInt(), 20) << version.out.toStdString();
    EXPECT_TRUE(QFileInfo(path("share/tavrik/runtime/dist/cli.js")).isFile());
    EXPECT_TRUE(
        QFileInfo(path("share/tavrik/runtime/node_modules/playwright-core/package.json")).isFile());
    EXPECT_FALSE(QFileInfo::exists(path("share/tavrik/runtime/node_modules/typescript")));
    EXPECT_FALSE(QFileInfo::exists(path("share/tavrik/runtime/node_modules/@types")));
    EXPECT_FALSE(QFileInfo::exists(path("share/tavrik/runtime/src")));
}

TEST_F(Installed, CastsADirectSkillWithItsOwnRuntimeFromAnywhere) {
    if (!QFileInfo::exists("/usr/bin/chromium"))
        GTEST_SKIP() << "needs /usr/bin/chromium";
    test::ensureCoreApplication(); // before the server's thread starts
    test::TempSupportFolder support;
    QTemporaryDir home;
    test::LocalHttpServer server;
    server.route(
        "GET", "/search",
        test::CannedResponse::text(200, "<html><title>Flights</title></html>", "text/html"));
    Skill skill;
    skill.name = "Find Flights";
    skill.createdAt = QDateTime::currentDateTimeUtc();
    skill.parameters = {
        {QUuid::createUuid(), "destination", ParameterType::searchTerm, "Where to?", "Lisbon", {}}};
    skill.runtime = RuntimeSpec{"open_url", {}, server.baseUrl() + "/search?to={{destination}}"};
    ASSERT_TRUE(SkillStore().save(skill).ok());

    // Nothing leads back to the checkout: no runtime variable, another home, another folder.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("TAVRIK_RUNTIME_DIR");
    environment.insert("HOME", home.path());
    environment.insert("TAVRIK_BROWSER_HEADLESS", "1");
    environment.insert("TAVRIK_DIRECT_BROWSER", "tavrik"); // the page is read by the headless one
    environment.insert("TAVRIK_BROWSER_NO_SANDBOX", "1");
    environment.insert("POSTHOG_OPT_OUT", "1");
    const ProgramRun cast = run(path("bin/tavrik"), {"cast", "/find-flights", "destination=Porto"},
                                home.path(), environment);
    EXPECT_EQ(cast.status, 0) << cast.out.toStdString() << cast.err.toStdString();
    EXPECT_TRUE(cast.out.contains("\n✓ ")) << cast.out.toStdString();
    bool opened = false;
    for (const test::RecordedRequest& request : server.requests())
        opened |= request.path == "/search?to=Porto";
    EXPECT_TRUE(opened);

    // The runtime leaves the browser open for the next cast, as it does for the user.
    for (const QString& entry : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile cmdline("/proc/" + entry + "/cmdline");
        if (cmdline.open(QIODevice::ReadOnly) &&
            cmdline.readAll().contains(support.path().toUtf8()))
            ::kill(pid_t(entry.toLongLong()), SIGKILL);
    }
}
