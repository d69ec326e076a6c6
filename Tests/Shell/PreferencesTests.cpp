#include "Support/LocalHttpServer.h"
#include "Support/LocalModel.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "Tavrik/Analytics.h"
#include "Tavrik/Preferences/Autostart.h"
#include "Tavrik/Preferences/PreferencesWindow.h"
#include "Tavrik/Runtime/DirectBrowser.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Synthesis/Secrets.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tavrik;
using namespace tavrik::test;

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class PreferencesTest : public ::testing::Test {
protected:
    PreferencesTest() { QDir().mkpath(Paths::support()); }
    TempSupportFolder support;
    TempSettings settings;
    ScopedEnvironment noKey = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
};

} // namespace

TEST_F(PreferencesTest, TheKeyIsSavedForTheLookupReadableByTheUserAlone) {
    PreferencesWindow window;
    EXPECT_EQ(window.windowTitle(), "Tavrik Preferences");
    EXPECT_EQ(window.keyField()->echoMode(), QLineEdit::Password);
    EXPECT_FALSE(window.environmentNote()->isVisibleTo(&window));

    window.keyField()->setText("  sk-ant-typed  ");
    window.saveKey();
    const QString path = Secrets::anthropicKeyFilePath();
    EXPECT_EQ(contents(path), "sk-ant-typed\n");
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(Secrets::anthropicAPIKey(), "sk-ant-typed");
    EXPECT_EQ(window.keyStatus()->text(), "Key saved.");
    // Nothing is left beside it from the atomic write.
    EXPECT_EQ(
        QDir(Paths::support()).entryList({"anthropic_key*"}, QDir::Files | QDir::Hidden).size(), 1);

    // A new window shows what is saved; emptying the field removes the file.
    PreferencesWindow again;
    EXPECT_EQ(again.keyField()->text(), "sk-ant-typed");
    again.keyField()->clear();
    again.saveKey();
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_FALSE(Secrets::hasAnthropicKey());

    // A key in the environment wins, and the window says so.
    ScopedEnvironment environmentKey{"ANTHROPIC_API_KEY", "sk-ant-from-environment"};
    PreferencesWindow withEnvironment;
    EXPECT_TRUE(withEnvironment.environmentNote()->isVisibleTo(&withEnvironment));
    EXPECT_TRUE(withEnvironment.environmentNote()->text().contains("ANTHROPIC_API_KEY"));
}

TEST_F(PreferencesTest, TestSaysWhetherTheKeyWorks) {
    LocalHttpServer api;
    ScopedEnvironment host{Hosts::modelApiVariable, api.baseUrl().toUtf8()};
    api.route("POST", "/v1/messages", acceptsOnlyKey("sk-ant-good"));
    PreferencesWindow window;

    window.keyField()->setText("sk-ant-good");
    window.testButton()->click();
    EXPECT_FALSE(window.testButton()->isEnabled());
    ASSERT_TRUE(waitUntil([&] { return window.testButton()->isEnabled(); }));
    EXPECT_EQ(window.keyStatus()->text(), "The key works.");
    ASSERT_EQ(api.requestCount(), 1);
    const QJsonObject body = api.requests()[0].json().object();
    EXPECT_EQ(body["max_tokens"].toInt(), 1); // the smallest request there is
    EXPECT_EQ(contents(Secrets::anthropicKeyFilePath()), "sk-ant-good\n"); // tested keys are kept

    window.keyField()->setText("sk-ant-wrong");
    window.testButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.testButton()->isEnabled(); }));
    EXPECT_TRUE(window.keyStatus()->text().startsWith("That key was not accepted"))
        << window.keyStatus()->text().toStdString();
    EXPECT_TRUE(window.keyStatus()->text().contains("401"));
}

TEST_F(PreferencesTest, StatisticsAndStartingAtLoginAreSavedWhereTheyAreRead) {
    QTemporaryDir config;
    ScopedEnvironment configHome{"XDG_CONFIG_HOME", config.path().toUtf8()};
    Analytics::setOptedOut(false);
    PreferencesWindow window;
    EXPECT_TRUE(window.analyticsBox()->isChecked());
    window.analyticsBox()->click();
    EXPECT_TRUE(Analytics::isOptedOut());
    window.analyticsBox()->click();
    EXPECT_FALSE(Analytics::isOptedOut());

    const QString entry = config.path() + "/autostart/tavrik.desktop";
    EXPECT_EQ(Autostart::entryPath(), entry);
    EXPECT_FALSE(window.loginBox()->isChecked());
    window.loginBox()->click();
    const QByteArray text = contents(entry);
    EXPECT_TRUE(text.startsWith("[Desktop Entry]\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nType=Application\n"));
    EXPECT_TRUE(
        text.contains("\nExec=\"" + QCoreApplication::applicationFilePath().toUtf8() + "\"\n"));
    EXPECT_TRUE(PreferencesWindow().loginBox()->isChecked());
    window.loginBox()->click();
    EXPECT_FALSE(QFile::exists(entry));

    // A file where the autostart folder belongs: the failure is said and the box stays clear.
    {
        QFile blocker(config.path() + "/autostart");
        ASSERT_TRUE(QDir(config.path() + "/autostart").removeRecursively());
        ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    }
    window.loginBox()->click();
    EXPECT_FALSE(window.loginBox()->isChecked());
    EXPECT_EQ(window.keyStatus()->text(), config.path() + "/autostart could not be made");

    // Direct skills open in the user's browser unless they chose Tavrik's.
    EXPECT_EQ(DirectBrowser::current(), DirectBrowser::Choice::desktopDefault);
    EXPECT_EQ(window.browserBox()->currentText(), "Your default browser");
    window.browserBox()->setCurrentIndex(1);
    EXPECT_EQ(DirectBrowser::current(), DirectBrowser::Choice::tavrik);
    EXPECT_EQ(PreferencesWindow().browserBox()->currentText(), "Tavrik's browser");
    window.browserBox()->setCurrentIndex(0);
    EXPECT_EQ(DirectBrowser::current(), DirectBrowser::Choice::desktopDefault);
}
