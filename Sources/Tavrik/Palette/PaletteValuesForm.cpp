#include "Tavrik/Palette/PaletteValuesForm.h"

#include "Tavrik/Style/Theme.h"

#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

namespace tavrik {

PaletteValuesForm::PaletteValuesForm(const Skill& skill, QWidget* parent)
    : QWidget(parent), m_skill(skill) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 12, 20, 14);
    layout->setSpacing(10);
    auto* title = new QLabel(tr("Values for “%1”").arg(skill.name));
    title->setFont(Theme::font(11, QFont::DemiBold));
    layout->addWidget(title);
    auto* form = new QFormLayout;
    form->setSpacing(8);
    for (const Parameter& parameter : skill.parameters) {
        auto* field = new QLineEdit(parameter.exampleValue);
        const QString label = parameter.prompt.isEmpty() ? parameter.name : parameter.prompt;
        field->setAccessibleName(label);
        field->installEventFilter(this);
        auto* caption = new QLabel(label);
        caption->setBuddy(field);
        caption->setWordWrap(true);
        form->addRow(caption, field);
        m_fields.append(field);
    }
    layout->addLayout(form);
    auto* hint = new QLabel(tr("Return casts with these values · Esc goes back"));
    hint->setProperty("role", QStringLiteral("secondary"));
    hint->setFont(Theme::font(9));
    layout->addWidget(hint);
}

QMap<QString, QString> PaletteValuesForm::values() const {
    QMap<QString, QString> values;
    for (qsizetype i = 0; i < m_fields.size(); ++i)
        values.insert(m_skill.parameters[i].name, m_fields[i]->text());
    return values;
}

void PaletteValuesForm::focusFirstField() {
    if (m_fields.isEmpty())
        return;
    m_fields.first()->setFocus(Qt::TabFocusReason);
    m_fields.first()->selectAll();
}

bool PaletteValuesForm::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            emit submitted(values());
            return true;
        case Qt::Key_Escape:
            emit cancelled();
            return true;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace tavrik
