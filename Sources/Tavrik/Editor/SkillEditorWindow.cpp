#include "Tavrik/Editor/SkillEditorWindow.h"

#include "Tavrik/AppState.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/Shell/WindowStyle.h"
#include "Tavrik/Style/Theme.h"
#include "TavrikCore/Storage/SkillEdits.h"
#include "TavrikCore/Storage/SkillMarkdown.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace tavrik {

SkillEditorWindow::SkillEditorWindow(AppState* app, QWidget* parent) : QWidget(parent), m_app(app) {
    build();
    setWindowTitle(QStringLiteral("Edit Skill Draft — Tavrik"));
    m_secondary->setText(QStringLiteral("Discard"));
    WindowStyle::setKind(m_secondary, WindowStyle::ButtonKind::danger);
    m_run->setVisible(true);

    syncFromDraft();
    connect(app, &AppState::pendingSkillMarkdownChanged, this, &SkillEditorWindow::syncFromDraft);
    connect(app, &AppState::editorCloseRequested, this, &QWidget::close);
    connect(m_editor, &QPlainTextEdit::textChanged, this, [this] {
        if (m_syncing)
            return;
        m_app->setPendingSkillMarkdown(m_editor->toPlainText());
        m_app->applyMarkdownEdits();
    });
    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        if (m_app->pendingGeneratedSkill() &&
            m_name->text() != m_app->pendingGeneratedSkill()->name)
            m_app->renameSkill(m_name->text());
    });
    connect(m_secondary, &QPushButton::clicked, app, &AppState::discardGeneratedSkill);
    connect(m_run, &QPushButton::clicked, app, &AppState::runPendingSkill);
    connect(app, &AppState::skillPanelPhaseChanged, this, [this](SkillPanelPhase phase) {
        if (phase == SkillPanelPhase::saved)
            showMessage(QStringLiteral("Saved to your library."), false);
        else if (phase == SkillPanelPhase::error)
            showMessage(m_app->skillGenerationError(), true);
    });
}

SkillEditorWindow::SkillEditorWindow(AppState* app, const Skill& skill, QWidget* parent)
    : QWidget(parent), m_app(app), m_saved(skill) {
    build();
    setWindowTitle(QStringLiteral("Edit “%1” — Tavrik").arg(skill.name));
    m_secondary->setText(QStringLiteral("Close"));
    WindowStyle::setKind(m_secondary, WindowStyle::ButtonKind::secondary);
    m_run->setVisible(false);

    const QString text = app->store().markdown(skill).valueOr(SkillMarkdown::render(skill));
    m_syncing = true;
    m_editor->setPlainText(text);
    m_name->setText(skill.name);
    m_syncing = false;
    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        m_syncing = true;
        m_editor->setPlainText(SkillEdits::renamed(m_editor->toPlainText(), m_name->text()));
        m_syncing = false;
    });
    connect(m_secondary, &QPushButton::clicked, this, &QWidget::close);
}

void SkillEditorWindow::build() {
    setWindowIcon(TrayMenu::icon(false));
    setAttribute(Qt::WA_DeleteOnClose);
    WindowStyle::apply(this);
    resize(720, 640);

    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(24, 20, 24, 20);
    root->setSpacing(10);
    auto* nameLabel = new QLabel(QStringLiteral("NAME"));
    nameLabel->setProperty("role", QStringLiteral("heading"));
    nameLabel->setFont(Theme::font(8.5, QFont::DemiBold));
    root->addWidget(nameLabel);
    m_name = new QLineEdit;
    m_name->setFont(Theme::font(13, QFont::DemiBold));
    m_name->setPlaceholderText(QStringLiteral("What the skill does, in a few words"));
    root->addWidget(m_name);
    root->addSpacing(4);
    auto* textLabel = new QLabel(QStringLiteral("SKILL.MD"));
    textLabel->setProperty("role", QStringLiteral("heading"));
    textLabel->setFont(Theme::font(8.5, QFont::DemiBold));
    root->addWidget(textLabel);
    m_editor = new QPlainTextEdit;
    m_editor->setFont(Theme::monospaceFont(10));
    m_editor->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_editor->setTabChangesFocus(true);
    root->addWidget(m_editor, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    m_message = new QLabel;
    m_message->setFont(Theme::font(9.5));
    buttons->addWidget(m_message, 1);
    m_secondary = new QPushButton;
    buttons->addWidget(m_secondary);
    m_run = new QPushButton(QStringLiteral("Save && Run"));
    WindowStyle::setKind(m_run, WindowStyle::ButtonKind::secondary);
    buttons->addWidget(m_run);
    m_save = new QPushButton(QStringLiteral("Save"));
    WindowStyle::setKind(m_save, WindowStyle::ButtonKind::primary);
    m_save->setShortcut(QKeySequence::Save);
    m_save->setDefault(true);
    buttons->addWidget(m_save);
    root->addLayout(buttons);
    connect(m_save, &QPushButton::clicked, this, &SkillEditorWindow::save);
}

void SkillEditorWindow::syncFromDraft() {
    if (m_editor->toPlainText() != m_app->pendingSkillMarkdown()) {
        m_syncing = true;
        m_editor->setPlainText(m_app->pendingSkillMarkdown());
        m_syncing = false;
    }
    if (m_app->pendingGeneratedSkill() && !m_name->hasFocus())
        m_name->setText(m_app->pendingGeneratedSkill()->name);
    m_save->setEnabled(m_app->hasPendingGeneratedSkill());
    m_run->setEnabled(m_app->hasPendingGeneratedSkill());
}

void SkillEditorWindow::save() {
    if (!m_saved) {
        if (m_app->pendingGeneratedSkill() &&
            m_name->text() != m_app->pendingGeneratedSkill()->name)
            m_app->renameSkill(m_name->text());
        m_app->saveGeneratedSkill();
        return;
    }
    const QString text = SkillEdits::renamed(m_editor->toPlainText(), m_name->text());
    if (Result<> saved = m_app->saveEditedSkill(*m_saved, text); !saved.ok()) {
        showMessage(QStringLiteral("Couldn't save: ") + saved.error(), true);
        return;
    }
    showMessage(QStringLiteral("Saved."), false);
}

void SkillEditorWindow::showMessage(const QString& text, bool error) {
    m_message->setText(text);
    m_message->setStyleSheet(
        QStringLiteral("color: %1").arg((error ? Theme::danger : Theme::success).name()));
}

} // namespace tavrik
