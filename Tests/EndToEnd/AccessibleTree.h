#pragma once

#include <QRect>
#include <QString>
#include <functional>
#include <optional>

using AtspiAccessible = struct _AtspiAccessible;

namespace tavrik::test {

// One node of another program's accessibility tree, read over the accessibility bus the way
// a screen reader reads it. Every read goes to the program afresh (no cached children).
class AccessibleNode {
public:
    AccessibleNode() = default;
    explicit AccessibleNode(AtspiAccessible* retained);
    AccessibleNode(const AccessibleNode& other);
    AccessibleNode& operator=(const AccessibleNode& other);
    ~AccessibleNode();

    bool isValid() const { return m_object != nullptr; }
    QString name() const;
    QString description() const;
    QString role() const; // AT-SPI role name: "push button", "text", "label", ...
    QString text() const; // the Text interface's whole text, else the name
    QRect screenRect() const;
    QPoint centre() const { return screenRect().center(); }
    bool isShowing() const;
    bool isFocused() const;
    QList<AccessibleNode> children() const;

private:
    AtspiAccessible* m_object = nullptr;
};

// The top of one running program's tree, found by its process id.
std::optional<AccessibleNode> applicationOf(qint64 pid);

// The first showing node under `root` (depth first) that `matches`.
std::optional<AccessibleNode> findNode(const AccessibleNode& root,
                                       const std::function<bool(const AccessibleNode&)>& matches);
// The first showing text field under `root` that has the keyboard.
std::optional<AccessibleNode> focusedTextField(const AccessibleNode& root);

} // namespace tavrik::test
