#include "Tavrik/Shell/WindowStyle.h"

#include "Tavrik/Style/Theme.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QWidget>

namespace tavrik::WindowStyle {

namespace {

QString css(const QColor& color) {
    return color.name(QColor::HexRgb);
}

QString sheet() {
    return QStringLiteral(R"(
QWidget#TavrikWindow { background: %1; }
QLabel { color: %2; }
QLabel[role="secondary"] { color: %3; }
QLabel[role="heading"] { color: %3; font-weight: 600; letter-spacing: 0.5px; }
QLineEdit, QPlainTextEdit {
  background: white; color: %2; border: 1px solid %4; border-radius: 8px; padding: 6px 10px;
  selection-background-color: %5; selection-color: %2;
}
QLineEdit:focus, QPlainTextEdit:focus { border: 1px solid %6; }
QPushButton {
  background: white; color: %2; border: 1px solid %4; border-radius: 8px; padding: 6px 14px;
  min-height: 20px;
}
QPushButton:hover { background: %7; }
QPushButton:disabled { color: %8; background: %1; }
QPushButton[kind="primary"] { background: %6; color: white; border: 1px solid %6; font-weight: 600; }
QPushButton[kind="primary"]:hover { background: %9; }
QPushButton[kind="primary"]:disabled { background: %4; border-color: %4; color: white; }
QPushButton[kind="danger"] { color: %10; border: 1px solid %11; }
QPushButton[kind="danger"]:hover { background: %11; }
QPushButton[kind="quiet"] { border: none; background: transparent; color: %3; }
QPushButton[kind="quiet"]:hover { color: %2; }
QListWidget { background: transparent; border: none; outline: none; }
QScrollBar:vertical { background: transparent; width: 10px; margin: 2px; }
QScrollBar::handle:vertical { background: %4; border-radius: 4px; min-height: 24px; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QPushButton:focus { border: 2px solid %6; }
QPushButton[kind="primary"]:focus { border: 2px solid %2; }
)")
        .arg(css(Theme::window), css(Theme::text), css(Theme::secondaryText), css(Theme::border),
             css(Theme::selection), css(Theme::accent), css(Theme::hover), css(Theme::tertiaryText),
             css(Theme::accent.darker(112)), css(Theme::danger), css(Theme::dangerSoft));
}

// Return presses the button that has the keyboard, as Space does, in windows that are no
// dialog; from anywhere else that lets Return through (a one-line field, a check box) it presses
// the window's default button, as in a dialog.
class ReturnPressesButton : public QObject {
public:
    using QObject::QObject;

protected:
    // Buttons and one-line fields ignore Return outside a dialog, so the key comes up to the
    // window; a multi-line field keeps it for a new line.
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return false;
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key != Qt::Key_Return && key != Qt::Key_Enter)
            return false;
        auto* window = static_cast<QWidget*>(parent());
        auto* button = qobject_cast<QPushButton*>(window->focusWidget());
        if (!button)
            button = defaultButton(window);
        if (!button || !button->isEnabled())
            return false;
        button->click();
        return true;
    }

private:
    static QPushButton* defaultButton(QWidget* window) {
        const QList<QPushButton*> buttons = window->findChildren<QPushButton*>();
        for (QPushButton* button : buttons)
            if (button->isDefault() && button->isVisible())
                return button;
        return nullptr;
    }
};

// A window never larger than its screen, whatever the scale factor: its minimum and its size
// give way when shown, and room is left for the frame the window manager adds.
class FitsTheScreen : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::Show || watched != parent())
            return false;
        auto* window = static_cast<QWidget*>(watched);
        const QScreen* screen = window->screen();
        if (!screen)
            return false;
        const QSize room =
            screen->availableGeometry().size() - QSize(frameAllowance, frameAllowance * 2);
        window->setMinimumSize(window->minimumSize().boundedTo(room));
        if (window->width() > room.width() || window->height() > room.height())
            window->resize(window->size().boundedTo(room));
        return false;
    }

private:
    static constexpr int frameAllowance = 24;
};

} // namespace

void apply(QWidget* window) {
    window->setObjectName(QStringLiteral("TavrikWindow"));
    window->setAttribute(Qt::WA_StyledBackground);
    window->setStyleSheet(sheet());
    window->setFont(Theme::font(10));
    window->installEventFilter(new ReturnPressesButton(window));
    window->installEventFilter(new FitsTheScreen(window));
}

void setKind(QPushButton* button, ButtonKind kind) {
    static const char* names[] = {"primary", "secondary", "danger", "quiet"};
    button->setProperty("kind", QString::fromLatin1(names[int(kind)]));
    button->setCursor(Qt::PointingHandCursor);
    button->style()->unpolish(button);
    button->style()->polish(button);
}

} // namespace tavrik::WindowStyle
