#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Recorder/AXResolver.h"

#include <QList>
#include <optional>

namespace tavrik {

// The bounded walk that finds secure text fields under a root element. It examines at most
// AXResolver::maxSecureScanElements elements and depths 0 to AXResolver::maxSecureScanDepth, so a
// huge window costs a bounded amount of work; fields beyond the bounds are not found. A secure
// field's own children are never visited.
//
// Tree supplies, for its Node type:
//   bool isSecure(const Node&)                      (false when unknown)
//   std::optional<Rect> frame(const Node&)          (absent when unreadable)
//   std::optional<QList<Node>> children(const Node&) (absent when the application stopped
//                                                     answering: the scan ends there)
template <typename Tree> class SecureFieldScan {
public:
    using Node = typename Tree::Node;

    explicit SecureFieldScan(Tree& tree) : m_tree(tree) {}

    QList<Rect> run(const Node& root) {
        m_rects.clear();
        m_visited = 0;
        m_aborted = false;
        visit(root, 0);
        return m_rects;
    }

    int visited() const { return m_visited; }
    // True when the walk ended early because the application did not answer.
    bool aborted() const { return m_aborted; }

private:
    void visit(const Node& node, int depth) {
        if (m_aborted || m_visited > AXResolver::maxSecureScanElements - 1 ||
            depth > AXResolver::maxSecureScanDepth) {
            return;
        }
        ++m_visited;
        if (m_tree.isSecure(node)) {
            if (auto rect = m_tree.frame(node)) {
                m_rects.append(*rect);
            }
            return;
        }
        auto kids = m_tree.children(node);
        if (!kids) {
            m_aborted = true;
            return;
        }
        for (const Node& child : *kids) {
            visit(child, depth + 1);
            if (m_aborted) {
                return;
            }
        }
    }

    Tree& m_tree;
    QList<Rect> m_rects;
    int m_visited = 0;
    bool m_aborted = false;
};

} // namespace tavrik
