#include "Tavrik/Palette/PaletteRowsAccessible.h"

#include "Tavrik/Palette/PaletteRows.h"

#include <QWidget>
#include <mutex>

namespace tavrik {

namespace {

// One painted row. It reads the rows afresh on every question, so it stays right as the query
// re-ranks them; a row past the current count is no longer valid.
class PaletteRowAccessible : public QAccessibleInterface {
public:
    PaletteRowAccessible(PaletteRowsAccessible* list, int row) : m_list(list), m_row(row) {}

    bool isValid() const override { return m_list->isValid() && m_row < m_list->childCount(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return m_list->window(); }
    QAccessibleInterface* parent() const override { return m_list; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text kind) const override {
        if (!isValid())
            return {};
        if (kind == QAccessible::Name)
            return m_list->rows()->rowName(m_row);
        if (kind == QAccessible::Description)
            return m_list->rows()->rowDescription(m_row);
        return {};
    }

    QRect rect() const override {
        if (!isValid())
            return {};
        PaletteRows* rows = m_list->rows();
        const QRect local = rows->rowRect(m_row);
        return QRect(rows->mapToGlobal(local.topLeft()), local.size());
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = true;
        state.focusable = true;
        if (!isValid()) {
            state.invisible = true;
            return state;
        }
        const bool selected = m_list->rows()->selectedRow() == m_row;
        state.selected = selected;
        state.focused = selected && m_list->rows()->window()->isActiveWindow();
        return state;
    }

private:
    PaletteRowsAccessible* m_list;
    int m_row;
};

QAccessibleInterface* paletteRowsFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("tavrik::PaletteRows") && object && object->isWidgetType())
        return new PaletteRowsAccessible(static_cast<PaletteRows*>(object));
    return nullptr;
}

} // namespace

PaletteRowsAccessible::PaletteRowsAccessible(PaletteRows* rows)
    : QAccessibleWidget(rows, QAccessible::List, QObject::tr("Skills")) {}

PaletteRowsAccessible::~PaletteRowsAccessible() {
    for (const QAccessible::Id id : std::as_const(m_children))
        QAccessible::deleteAccessibleInterface(id);
}

void PaletteRowsAccessible::install() {
    static std::once_flag installed;
    std::call_once(installed, [] { QAccessible::installFactory(paletteRowsFactory); });
}

PaletteRows* PaletteRowsAccessible::rows() const {
    return static_cast<PaletteRows*>(widget());
}

int PaletteRowsAccessible::childCount() const {
    return rows()->rowCount();
}

QAccessibleInterface* PaletteRowsAccessible::child(int index) const {
    if (index < 0 || index >= childCount())
        return nullptr;
    auto found = m_children.constFind(index);
    if (found != m_children.constEnd())
        return QAccessible::accessibleInterface(*found);
    auto* row = new PaletteRowAccessible(const_cast<PaletteRowsAccessible*>(this), index);
    m_children.insert(index, QAccessible::registerAccessibleInterface(row));
    return row;
}

int PaletteRowsAccessible::indexOfChild(const QAccessibleInterface* child) const {
    for (auto it = m_children.constBegin(); it != m_children.constEnd(); ++it) {
        if (QAccessible::accessibleInterface(it.value()) == child)
            return it.key() < childCount() ? it.key() : -1;
    }
    return -1;
}

QAccessibleInterface* PaletteRowsAccessible::childAt(int x, int y) const {
    const int row = rows()->rowAt(rows()->mapFromGlobal(QPoint(x, y)));
    return row >= 0 ? child(row) : nullptr;
}

QAccessibleInterface* PaletteRowsAccessible::focusChild() const {
    return child(rows()->selectedRow());
}

} // namespace tavrik
