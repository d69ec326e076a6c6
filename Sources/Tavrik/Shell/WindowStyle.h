#pragma once

#include <QString>

class QPushButton;
class QWidget;

// The look shared by the ordinary windows (library, onboarding, editor): set on each window so
// the floating panels keep their own.
namespace tavrik::WindowStyle {

// Also makes Return press the focused button, or from a text field the window's default button
// (QPushButton::setDefault), as dialogs do.
void apply(QWidget* window);

enum class ButtonKind { primary, secondary, danger, quiet };
void setKind(QPushButton* button, ButtonKind kind);

} // namespace tavrik::WindowStyle
