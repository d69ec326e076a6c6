#include "AccessibleTree.h"

#include <atspi/atspi.h>

namespace tavrik::test {

namespace {

QString takeString(gchar* text) {
    const QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

// Errors mean the node has gone (a closed window); reads then come back empty.
void drop(GError* error) {
    if (error)
        g_error_free(error);
}

} // namespace

AccessibleNode::AccessibleNode(AtspiAccessible* retained) : m_object(retained) {}

AccessibleNode::AccessibleNode(const AccessibleNode& other)
    : m_object(other.m_object ? ATSPI_ACCESSIBLE(g_object_ref(other.m_object)) : nullptr) {}

AccessibleNode& AccessibleNode::operator=(const AccessibleNode& other) {
    if (this != &other) {
        AccessibleNode copy(other);
        std::swap(m_object, copy.m_object);
    }
    return *this;
}

AccessibleNode::~AccessibleNode() {
    if (m_object)
        g_object_unref(m_object);
}

QString AccessibleNode::name() const {
    if (!m_object)
        return {};
    GError* error = nullptr;
    const QString name = takeString(atspi_accessible_get_name(m_object, &error));
    drop(error);
    return name;
}

QString AccessibleNode::description() const {
    if (!m_object)
        return {};
    GError* error = nullptr;
    const QString description = takeString(atspi_accessible_get_description(m_object, &error));
    drop(error);
    return description;
}

QString AccessibleNode::role() const {
    if (!m_object)
        return {};
    GError* error = nullptr;
    const QString role = takeString(atspi_accessible_get_role_name(m_object, &error));
    drop(error);
    return role;
}

QString AccessibleNode::text() const {
    AtspiText* text = m_object ? atspi_accessible_get_text_iface(m_object) : nullptr;
    if (!text)
        return name();
    GError* error = nullptr;
    const QString result = takeString(atspi_text_get_text(text, 0, -1, &error));
    drop(error);
    g_object_unref(text);
    return result;
}

QRect AccessibleNode::screenRect() const {
    AtspiComponent* component = m_object ? atspi_accessible_get_component_iface(m_object) : nullptr;
    if (!component)
        return {};
    GError* error = nullptr;
    AtspiRect* r = atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, &error);
    drop(error);
    g_object_unref(component);
    if (!r)
        return {};
    const QRect rect(r->x, r->y, r->width, r->height);
    g_free(r);
    return rect;
}

namespace {
bool hasState(AtspiAccessible* object, AtspiStateType state) {
    if (!object)
        return false;
    AtspiStateSet* states = atspi_accessible_get_state_set(object);
    const bool has = states && atspi_state_set_contains(states, state);
    if (states)
        g_object_unref(states);
    return has;
}
} // namespace

bool AccessibleNode::isShowing() const {
    return hasState(m_object, ATSPI_STATE_SHOWING);
}

bool AccessibleNode::isFocused() const {
    return hasState(m_object, ATSPI_STATE_FOCUSED);
}

QList<AccessibleNode> AccessibleNode::children() const {
    QList<AccessibleNode> result;
    if (!m_object)
        return result;
    GError* error = nullptr;
    const int count = atspi_accessible_get_child_count(m_object, &error);
    drop(error);
    for (int i = 0; i < count; ++i) {
        error = nullptr;
        if (AtspiAccessible* child = atspi_accessible_get_child_at_index(m_object, i, &error))
            result << AccessibleNode(child);
        drop(error);
    }
    return result;
}

std::optional<AccessibleNode> applicationOf(qint64 pid) {
    static const bool initialised = [] {
        atspi_init();
        return true;
    }();
    Q_UNUSED(initialised);
    AtspiAccessible* desktop = atspi_get_desktop(0);
    if (!desktop)
        return std::nullopt;
    // Windows come and go while the test runs: read the tree fresh every time.
    atspi_accessible_clear_cache(desktop);
    std::optional<AccessibleNode> found;
    GError* error = nullptr;
    const int count = atspi_accessible_get_child_count(desktop, &error);
    drop(error);
    for (int i = 0; i < count && !found; ++i) {
        error = nullptr;
        AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, &error);
        drop(error);
        if (!app)
            continue;
        error = nullptr;
        const guint appPid = atspi_accessible_get_process_id(app, &error);
        drop(error);
        if (qint64(appPid) == pid) {
            atspi_accessible_set_cache_mask(app, ATSPI_CACHE_NONE);
            found = AccessibleNode(app);
        } else {
            g_object_unref(app);
        }
    }
    g_object_unref(desktop);
    return found;
}

std::optional<AccessibleNode> findNode(const AccessibleNode& root,
                                       const std::function<bool(const AccessibleNode&)>& matches) {
    for (const AccessibleNode& child : root.children()) {
        if (!child.isShowing())
            continue;
        if (matches(child))
            return child;
        if (std::optional<AccessibleNode> deeper = findNode(child, matches))
            return deeper;
    }
    return std::nullopt;
}

std::optional<AccessibleNode> focusedTextField(const AccessibleNode& root) {
    return findNode(
        root, [](const AccessibleNode& node) { return node.role() == "text" && node.isFocused(); });
}

} // namespace tavrik::test
