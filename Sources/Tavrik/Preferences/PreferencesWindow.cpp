#include "Tavrik/Preferences/PreferencesWindow.h"

#include "Tavrik/Analytics.h"
#include "Tavrik/Preferences/Autostart.h"
#include "Tavrik/Preferences/KeyCheck.h"
#include "Tavrik/Runtime/DirectBrowser.h"
#include "Tavrik/Shell/WindowStyle.h"
#include "Tavrik/Style/Theme.h"
#include "TavrikCore/Synthesis/Secrets.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStringDecoder>
#include <QVBoxLayout>

namespace tavrik {

namespace {

QLabel* note(const QString& text) {
    auto* label = new QLabel(text);
    label->setProperty("role", QStringLiteral("secondary"));
    label->setWordWrap(true);
    label->setFont(Theme::font(9.5));
    return label;
}

// The saved key file's text (not the environment's key: that one is never written here).
QString savedKey() {
    QFile file(Secrets::anthropicKeyFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = QString(decoder.decode(file.readAll())).trimmed();
    return decoder.hasError() ? QString() : text;
}

} // namespace

PreferencesWindow::PreferencesWindow(QWidget* parent)
    : QWidget(parent), m_check(new KeyCheck(this)) {
    setWindowTitle(QStringLiteral("Tavrik Preferences"));
    WindowStyle::apply(this);
    setMinimumWidth(520);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 24);
    layout->setSpacing(8);

    auto* keyLabel = new QLabel(QStringLiteral("Anthropic API key"));
    keyLabel->setFont(Theme::font(10.5, QFont::DemiBold));
    layout->addWidget(keyLabel);
    auto* keyRow = new QHBoxLayout;
    m_key = new QLineEdit;
    m_key->setEchoMode(QLineEdit::Password);
    m_key->setAccessibleName(QStringLiteral("Anthropic API key"));
    m_key->setPlaceholderText(QStringLiteral("sk-ant-…"));
    m_key->setText(savedKey());
    keyLabel->setBuddy(m_key);
    keyRow->addWidget(m_key, 1);
    m_test = new QPushButton(QStringLiteral("Test"));
    WindowStyle::setKind(m_test, WindowStyle::ButtonKind::secondary);
    m_test->setDefault(true); // Return in the key field saves and tests it
    keyRow->addWidget(m_test);
    layout->addLayout(keyRow);
    m_keyStatus = note(QString());
    m_keyStatus->setObjectName(QStringLiteral("keyStatus"));
    m_keyStatus->setVisible(false);
    layout->addWidget(m_keyStatus);
    m_environmentNote = note(
        QStringLiteral("ANTHROPIC_API_KEY is set in Tavrik's environment, so that key is used; "
                       "the key saved here is used once it is gone."));
    m_environmentNote->setVisible(Secrets::environmentHasAnthropicKey());
    layout->addWidget(m_environmentNote);
    layout->addWidget(note(
        QStringLiteral("Tavrik writes skills with this key. Get one at console.anthropic.com under "
                       "API Keys; it is kept in a file only you can read.")));
    layout->addSpacing(12);

    m_analytics = new QCheckBox(QStringLiteral("Send anonymous usage statistics"));
    m_analytics->setChecked(!Analytics::isOptedOut());
    layout->addWidget(m_analytics);
    layout->addWidget(
        note(QStringLiteral("Which features are used, never what you record or type.")));
    layout->addSpacing(8);

    m_login = new QCheckBox(QStringLiteral("Start Tavrik at login"));
    m_login->setChecked(Autostart::isEnabled());
    layout->addWidget(m_login);
    layout->addSpacing(8);

    auto* browserLabel = new QLabel(QStringLiteral("Where direct skills open"));
    layout->addWidget(browserLabel);
    m_browser = new QComboBox;
    m_browser->addItem(QStringLiteral("Your default browser"));
    m_browser->addItem(QStringLiteral("Tavrik's browser"));
    m_browser->setAccessibleName(browserLabel->text());
    browserLabel->setBuddy(m_browser);
    m_browser->setCurrentIndex(DirectBrowser::current() == DirectBrowser::Choice::tavrik ? 1 : 0);
    layout->addWidget(m_browser);
    layout->addWidget(
        note(QStringLiteral("Skills that only open addresses. Skills that act on pages always use "
                            "Tavrik's browser.")));
    layout->addStretch(1);

    connect(m_key, &QLineEdit::editingFinished, this, &PreferencesWindow::saveKey);
    connect(m_test, &QPushButton::clicked, this, &PreferencesWindow::testKey);
    connect(m_check, &KeyCheck::answered, this, [this](bool works, const QString& text) {
        m_test->setEnabled(true);
        showKeyStatus(text, !works);
    });
    connect(m_analytics, &QCheckBox::toggled, this,
            [](bool send) { Analytics::setOptedOut(!send); });
    connect(m_browser, &QComboBox::currentIndexChanged, this, [](int index) {
        DirectBrowser::set(index == 1 ? DirectBrowser::Choice::tavrik
                                      : DirectBrowser::Choice::desktopDefault);
    });
    connect(m_login, &QCheckBox::toggled, this, [this](bool start) {
        if (Result<> set = Autostart::setEnabled(start, QCoreApplication::applicationFilePath());
            !set.ok()) {
            showKeyStatus(set.error(), true);
            const QSignalBlocker block(m_login);
            m_login->setChecked(Autostart::isEnabled());
        }
    });
}

void PreferencesWindow::saveKey() {
    if (m_key->text().trimmed() == savedKey())
        return;
    if (Result<> saved = Secrets::saveAnthropicKey(m_key->text()); !saved.ok()) {
        showKeyStatus(saved.error(), true);
        return;
    }
    showKeyStatus(m_key->text().trimmed().isEmpty() ? QStringLiteral("Key removed.")
                                                    : QStringLiteral("Key saved."));
}

void PreferencesWindow::testKey() {
    saveKey();
    m_test->setEnabled(false);
    showKeyStatus(QStringLiteral("Testing the key…"));
    m_check->check(m_key->text());
}

void PreferencesWindow::showKeyStatus(const QString& text, bool bad) {
    m_keyStatus->setText(text);
    m_keyStatus->setProperty("role", bad ? QString() : QStringLiteral("secondary"));
    m_keyStatus->setStyleSheet(bad ? QStringLiteral("color: %1;").arg(Theme::danger.name())
                                   : QString());
    m_keyStatus->setVisible(!text.isEmpty());
}

} // namespace tavrik
