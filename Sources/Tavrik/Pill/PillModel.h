#pragma once

#include <QObject>

namespace tavrik {

// The pill's one observed flag: whether it is expanded.
class PillModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool expanded READ expanded NOTIFY expandedChanged)
public:
    using QObject::QObject;

    bool expanded() const { return m_expanded; }
    void setExpanded(bool expanded) {
        if (m_expanded == expanded)
            return;
        m_expanded = expanded;
        emit expandedChanged(expanded);
    }

signals:
    void expandedChanged(bool expanded);

private:
    bool m_expanded = false;
};

} // namespace tavrik
