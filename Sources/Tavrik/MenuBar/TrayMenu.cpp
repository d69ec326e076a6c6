#include "Tavrik/MenuBar/TrayMenu.h"

#include "Tavrik/AppState.h"
#include "Tavrik/MainWindow/SkillIcon.h"
#include "Tavrik/Style/Theme.h"

#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QSystemTrayIcon>

namespace tavrik {

namespace {
constexpr int kSkillsInMenu = 12;
}

QIcon TrayMenu::icon(bool recording) {
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal s = size;
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::dark);
        painter.drawRoundedRect(QRectF(0.5, 0.5, s - 1, s - 1), s * 0.24, s * 0.24);
        // The mark: a spark of four points, what the assistant does when it repeats a task.
        QPainterPath spark;
        const QPointF c(s / 2, s / 2);
        const qreal r = s * 0.32, w = s * 0.08;
        spark.moveTo(c.x(), c.y() - r);
        spark.quadTo(c.x() + w, c.y() - w, c.x() + r, c.y());
        spark.quadTo(c.x() + w, c.y() + w, c.x(), c.y() + r);
        spark.quadTo(c.x() - w, c.y() + w, c.x() - r, c.y());
        spark.quadTo(c.x() - w, c.y() - w, c.x(), c.y() - r);
        painter.setBrush(QColor(0xf4, 0xf6, 0xfb));
        painter.drawPath(spark);
        if (recording) {
            painter.setBrush(Theme::recording);
            painter.setPen(QPen(Theme::dark, s * 0.06));
            const qreal d = s * 0.42;
            painter.drawEllipse(QRectF(s - d - 0.5, 0.5, d, d));
        }
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

TrayMenu::TrayMenu(AppState* app, QObject* parent)
    : QObject(parent), m_app(app), m_tray(new QSystemTrayIcon(this)), m_menu(new QMenu) {
    m_tray->setIcon(icon(false));
    m_tray->setToolTip(QStringLiteral("Tavrik"));
    m_tray->setContextMenu(m_menu);
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    emit showMainWindowRequested();
            });
    connect(app, &AppState::stateChanged, this, &TrayMenu::rebuild);
    connect(app, &AppState::skillsChanged, this, &TrayMenu::rebuild);
    rebuild();
}

TrayMenu::~TrayMenu() {
    delete m_menu;
}

bool TrayMenu::isAvailable() const {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void TrayMenu::show() {
    m_tray->show();
}

void TrayMenu::rebuild() {
    const TavrikState& state = m_app->state();
    m_tray->setIcon(icon(state.kind() == TavrikState::Kind::recording));
    m_tray->setToolTip(QStringLiteral("Tavrik — ") + m_app->statusTitle());

    m_menu->clear();
    QAction* status = m_menu->addAction(m_app->statusTitle());
    status->setEnabled(false);
    m_menu->addSeparator();

    const bool recording = state.kind() == TavrikState::Kind::recording;
    QAction* record = m_menu->addAction(recording ? QStringLiteral("Stop Recording")
                                                  : QStringLiteral("Record a Skill"));
    record->setShortcut(QKeySequence(QStringLiteral("Ctrl, Ctrl")));
    record->setEnabled(state.kind() == TavrikState::Kind::idle || recording ||
                       state.kind() == TavrikState::Kind::creatingSkill);
    connect(record, &QAction::triggered, m_app, [app = m_app] {
        if (app->state().kind() == TavrikState::Kind::recording)
            app->stopRecording();
        else
            app->toggleRecording();
    });

    QAction* palette = m_menu->addAction(QStringLiteral("Open Palette"));
    palette->setShortcut(QKeySequence(QStringLiteral("Ctrl+/")));
    connect(palette, &QAction::triggered, m_app, &AppState::openPalette);

    QMenu* skills = m_menu->addMenu(QStringLiteral("Skills"));
    const QList<Skill>& library = m_app->skills();
    if (library.isEmpty()) {
        skills->addAction(QStringLiteral("No skills yet"))->setEnabled(false);
    } else {
        for (qsizetype i = 0; i < library.size() && i < kSkillsInMenu; ++i) {
            const Skill& skill = library[i];
            QAction* cast =
                skills->addAction(SkillIcon::icon(SkillIcon::symbol(skill)), skill.name);
            cast->setEnabled(state.kind() == TavrikState::Kind::idle);
            connect(cast, &QAction::triggered, m_app, [app = m_app, skill] { app->cast(skill); });
        }
        if (library.size() > kSkillsInMenu) {
            skills->addSeparator();
            connect(skills->addAction(QStringLiteral("All Skills…")), &QAction::triggered, this,
                    &TrayMenu::showMainWindowRequested);
        }
    }
    if (state.isCasting()) {
        m_menu->addSeparator();
        connect(m_menu->addAction(QStringLiteral("Stop Running")), &QAction::triggered, m_app,
                &AppState::panic);
    }

    m_menu->addSeparator();
    connect(m_menu->addAction(QStringLiteral("Show Tavrik")), &QAction::triggered, this,
            &TrayMenu::showMainWindowRequested);
    connect(m_menu->addAction(QStringLiteral("Preferences…")), &QAction::triggered, this,
            &TrayMenu::preferencesRequested);
    connect(m_menu->addAction(QStringLiteral("Quit Tavrik")), &QAction::triggered, this,
            &TrayMenu::quitRequested);
}

} // namespace tavrik
