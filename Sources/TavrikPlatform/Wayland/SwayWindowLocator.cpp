#include "TavrikPlatform/Wayland/SwayWindowLocator.h"

#include <QJsonArray>

namespace tavrik::wayland {

namespace {

void collect(const QJsonObject& node, QList<CompositorWindow>& found) {
    const QString type = node.value("type").toString();
    if ((type == QLatin1String("con") || type == QLatin1String("floating_con")) &&
        node.contains("pid")) {
        CompositorWindow window;
        window.id = node.value("id").toInteger();
        window.pid = node.value("pid").toInteger();
        window.appID = node.value("app_id").toString();
        if (window.appID.isEmpty())
            window.appID = node.value("window_properties").toObject().value("class").toString();
        window.title = node.value("name").toString();
        window.outline = rectFromJson(node.value("rect"));
        // window_rect is relative to the container: the border and title bar come first.
        const Rect inner = rectFromJson(node.value("window_rect"));
        window.frame =
            Rect(window.outline.origin.x + inner.origin.x, window.outline.origin.y + inner.origin.y,
                 inner.size.width, inner.size.height);
        window.focused = node.value("focused").toBool();
        window.visible = node.value("visible").toBool(true);
        found.append(window);
    }
    for (const char* key : {"nodes", "floating_nodes"}) {
        for (const QJsonValue child : node.value(QLatin1String(key)).toArray())
            collect(child.toObject(), found);
    }
}

} // namespace

SwayWindowLocator::SwayWindowLocator(QString socketPath, int timeoutMs)
    : m_ipc(std::move(socketPath), timeoutMs) {}

bool SwayWindowLocator::isReachable() {
    return m_ipc.request(SwayIpc::getVersion).has_value();
}

QList<CompositorWindow> SwayWindowLocator::parseTree(const QJsonObject& root) {
    QList<CompositorWindow> found;
    collect(root, found);
    return found;
}

QList<DisplayInfo> SwayWindowLocator::parseOutputs(const QJsonArray& outputs) {
    QList<DisplayInfo> displays;
    quint32 id = 0;
    for (const QJsonValue value : outputs) {
        const QJsonObject output = value.toObject();
        ++id;
        if (!output.value("active").toBool(true))
            continue;
        DisplayInfo display;
        display.id = id;
        display.frame = rectFromJson(output.value("rect"));
        display.scaleFactor = output.value("scale").toDouble(1.0);
        display.isMain = output.value("focused").toBool();
        displays.append(display);
    }
    if (!displays.isEmpty() && std::none_of(displays.begin(), displays.end(),
                                            [](const DisplayInfo& d) { return d.isMain; }))
        displays.first().isMain = true;
    return displays;
}

QList<CompositorWindow> SwayWindowLocator::windows() {
    const std::optional<QJsonDocument> tree = m_ipc.request(SwayIpc::getTree);
    return tree ? parseTree(tree->object()) : QList<CompositorWindow>{};
}

QList<DisplayInfo> SwayWindowLocator::outputs() {
    const std::optional<QJsonDocument> reply = m_ipc.request(SwayIpc::getOutputs);
    return reply ? parseOutputs(reply->array()) : QList<DisplayInfo>{};
}

bool SwayWindowLocator::focus(qint64 id) {
    const std::optional<QJsonDocument> reply =
        m_ipc.request(SwayIpc::runCommand, QStringLiteral("[con_id=%1] focus").arg(id).toUtf8());
    if (!reply)
        return false;
    const QJsonArray results = reply->array();
    return !results.isEmpty() && results.first().toObject().value("success").toBool();
}

} // namespace tavrik::wayland
