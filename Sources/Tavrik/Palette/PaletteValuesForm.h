#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QList>
#include <QMap>
#include <QWidget>

class QLineEdit;

namespace tavrik {

// One field per parameter of a skill, labelled with its prompt and filled with its example, in
// place of the palette's rows. Return in any field submits the values; Escape goes back.
class PaletteValuesForm : public QWidget {
    Q_OBJECT
public:
    explicit PaletteValuesForm(const Skill& skill, QWidget* parent = nullptr);

    const Skill& skill() const { return m_skill; }
    const QList<QLineEdit*>& fields() const { return m_fields; }
    // Each parameter's value under its name, as typed.
    QMap<QString, QString> values() const;
    // Puts the keyboard in the first field, its text selected.
    void focusFirstField();

signals:
    void submitted(const QMap<QString, QString>& values);
    void cancelled();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Skill m_skill;
    QList<QLineEdit*> m_fields;
};

} // namespace tavrik
