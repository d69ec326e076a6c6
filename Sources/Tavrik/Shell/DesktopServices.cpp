#include "Tavrik/Shell/DesktopServices.h"

#include "Tavrik/Analytics.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Recorder/NarrationRecorder.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QApplication>
#include <QFutureWatcher>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

namespace tavrik {

namespace {

class PermissionsGate final : public PermissionGate {
public:
    explicit PermissionsGate(PermissionsManager* manager) : m_manager(manager) {}
    void refresh() override { m_manager->refresh(); }
    bool allGranted() const override { return m_manager->allGranted(); }
    bool hotkeysPossible() const override {
        return m_manager->status(Permission::inputMonitoring) == PermissionStatus::granted ||
               m_manager->status(Permission::accessibility) == PermissionStatus::granted;
    }

private:
    PermissionsManager* m_manager;
};

class HotkeyEngineControl final : public HotkeyControl {
public:
    explicit HotkeyEngineControl(HotkeyEngine* engine) : m_engine(engine) {}
    bool start() override {
        const bool started = m_engine->start();
        if (!started)
            qWarning().noquote() << "Tavrik: hotkeys unavailable:" << m_engine->errorString();
        return started;
    }
    void setCasting(bool casting) override { m_engine->setCasting(casting); }
    QString problem() const override { return m_engine->errorString(); }

private:
    HotkeyEngine* m_engine;
};

class Narration final : public NarrationSource {
public:
    explicit Narration(std::unique_ptr<NarrationRecorder> recorder)
        : m_recorder(std::move(recorder)) {}
    void start(std::function<void(double)> onLevel) override {
        m_recorder->setOnLevel([onLevel](float level) { onLevel(level); });
        m_recorder->start();
    }
    void stop(std::function<void(QString)> done) override {
        auto* watcher = new QFutureWatcher<QString>(qApp);
        QObject::connect(watcher, &QFutureWatcher<QString>::finished, watcher, [watcher, done] {
            done(watcher->result());
            watcher->deleteLater();
        });
        watcher->setFuture(m_recorder->stop());
    }
    QString problem() const override { return m_recorder->errorString(); }

private:
    std::unique_ptr<NarrationRecorder> m_recorder;
};

// The recorder on this session's input monitor, capturer and accessibility resolver.
class DesktopRecorder final : public DemonstrationRecorder {
public:
    DesktopRecorder()
        : m_recorder(std::make_unique<Recorder>(DesktopBackend::createInputMonitor(),
                                                DesktopBackend::createFrameCapturer(),
                                                DesktopBackend::createAXResolver())) {}
    void start() override {
        m_recorder->start();
        if (!m_recorder->monitor().isRunning())
            qWarning().noquote() << "Tavrik: recording without input:"
                                 << m_recorder->monitor().errorString();
    }
    void stop(std::function<void(std::optional<Recording>)> done) override {
        using Watcher = QFutureWatcher<std::optional<Recording>>;
        auto* watcher = new Watcher(m_recorder.get());
        QObject::connect(watcher, &Watcher::finished, watcher, [watcher, done] {
            const QFuture<std::optional<Recording>> future = watcher->future();
            done(future.resultCount() > 0 ? future.result() : std::nullopt);
            watcher->deleteLater();
        });
        watcher->setFuture(m_recorder->stop());
    }

private:
    std::unique_ptr<Recorder> m_recorder;
};

} // namespace

int DialogQuestions::ask(const Question& question) {
    QMessageBox box(question.warning ? QMessageBox::Warning : QMessageBox::Question,
                    QStringLiteral("Tavrik"), question.message);
    box.setInformativeText(question.details);
    QList<QAbstractButton*> buttons;
    for (int i = 0; i < question.buttons.size(); ++i)
        buttons << box.addButton(question.buttons[i],
                                 i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
    if (!buttons.isEmpty())
        box.setDefaultButton(qobject_cast<QPushButton*>(buttons.first()));
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    return int(buttons.indexOf(box.clickedButton()));
}

std::optional<QString> DialogQuestions::askSecret(const QString& message,
                                                  const QString& fieldLabel) {
    QInputDialog dialog;
    dialog.setWindowTitle(QStringLiteral("Tavrik"));
    dialog.setLabelText(message + QStringLiteral("\n\n") + fieldLabel + u':');
    dialog.setTextEchoMode(QLineEdit::Password);
    dialog.setInputMethodHints(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText);
    dialog.setOkButtonText(QStringLiteral("Run It"));
    dialog.setWindowFlag(Qt::WindowStaysOnTopHint);
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.textValue();
}

DesktopServices makeDesktopServices(QObject* owner) {
    DesktopServices desktop;
    std::unique_ptr<PermissionsManager> permissions =
        DesktopBackend::createPermissionsManager(owner);
    desktop.permissions = permissions.release();
    desktop.permissions->setParent(owner);
    desktop.hotkeys = new HotkeyEngine(DesktopBackend::createHotkeyGrabber(), owner);

    desktop.services.permissions = std::make_unique<PermissionsGate>(desktop.permissions);
    desktop.services.hotkeys = std::make_unique<HotkeyEngineControl>(desktop.hotkeys);
    desktop.services.recorder = std::make_unique<DesktopRecorder>();
    desktop.services.narration =
        std::make_unique<Narration>(DesktopBackend::createNarrationRecorder());
    desktop.services.questions = std::make_unique<DialogQuestions>();
    desktop.services.analytics = [](const QString& event, const QJsonObject& properties) {
        Analytics::capture(event, properties);
    };
    return desktop;
}

} // namespace tavrik
