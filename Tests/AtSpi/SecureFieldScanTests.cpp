#include "TavrikCore/Recorder/BrowserIdentity.h"
#include "TavrikCore/Recorder/SecureFieldScan.h"

#include <gtest/gtest.h>
#include <vector>

using namespace tavrik;

namespace {

// A tree in memory: node i has the children listed in kids[i].
struct FakeTree {
    using Node = int;
    std::vector<std::vector<int>> kids;
    std::vector<bool> secure;
    int unanswering = -1; // asking this node for its children finds the application hung

    int add(int parent, bool isSecure = false) {
        kids.emplace_back();
        secure.push_back(isSecure);
        const int id = int(kids.size()) - 1;
        if (parent >= 0) {
            kids[parent].push_back(id);
        }
        return id;
    }
    bool isSecure(int n) const { return secure[n]; }
    std::optional<Rect> frame(int n) const { return Rect(n, 0, 10, 10); }
    std::optional<QList<int>> children(int n) const {
        if (n == unanswering) {
            return std::nullopt;
        }
        return QList<int>(kids[n].begin(), kids[n].end());
    }
};

TEST(SecureFieldScan, FindsSecureFieldsWithoutDescendingIntoThem) {
    FakeTree tree;
    const int root = tree.add(-1);
    const int form = tree.add(root);
    const int password = tree.add(form, true);
    tree.add(password, true); // inside a secure field: never visited
    const int other = tree.add(root, true);
    SecureFieldScan scan(tree);
    EXPECT_EQ(scan.run(root), (QList<Rect>{Rect(password, 0, 10, 10), Rect(other, 0, 10, 10)}));
    EXPECT_EQ(scan.visited(), 4);
    EXPECT_FALSE(scan.aborted());
}

TEST(SecureFieldScan, StopsAtTheElementAndDepthBounds) {
    // 4,100 siblings: the one at the end lies beyond the 4,000 elements examined.
    FakeTree wide;
    const int root = wide.add(-1);
    const int early = wide.add(root, true);
    for (int i = 0; i < 4097; ++i) {
        wide.add(root);
    }
    const int late = wide.add(root, true);
    SecureFieldScan scanWide(wide);
    EXPECT_EQ(scanWide.run(root), QList<Rect>{Rect(early, 0, 10, 10)});
    EXPECT_EQ(scanWide.visited(), AXResolver::maxSecureScanElements);
    (void)late;

    // A chain: a field at depth 29 is found, one at depth 30 is not.
    FakeTree deep;
    int node = deep.add(-1);
    for (int depth = 1; depth < 29; ++depth) {
        node = deep.add(node);
    }
    const int atLimit = deep.add(node, true);
    const int next = deep.add(node);
    deep.add(next, true); // depth 30
    SecureFieldScan scanDeep(deep);
    EXPECT_EQ(scanDeep.run(0), QList<Rect>{Rect(atLimit, 0, 10, 10)});
}

TEST(SecureFieldScan, KeepsWhatItFoundWhenTheApplicationStopsAnswering) {
    FakeTree tree;
    const int root = tree.add(-1);
    const int first = tree.add(root, true);
    const int stuck = tree.add(root);
    tree.add(root, true);
    tree.unanswering = stuck;
    SecureFieldScan scan(tree);
    EXPECT_EQ(scan.run(root), QList<Rect>{Rect(first, 0, 10, 10)});
    EXPECT_TRUE(scan.aborted());
}

TEST(BrowserIdentity, KnowsBrowsersAndReadsTheirPageAddress) {
    EXPECT_TRUE(BrowserIdentity::isBrowser("Chromium"));
    EXPECT_TRUE(BrowserIdentity::isBrowser("firefox-esr"));
    EXPECT_TRUE(BrowserIdentity::isBrowser("org.mozilla.firefox"));
    EXPECT_FALSE(BrowserIdentity::isBrowser("org.gnome.TextEditor"));
    EXPECT_FALSE(BrowserIdentity::isBrowser(""));

    EXPECT_EQ(BrowserIdentity::pageAddress({{"URI", "https://example.org/"}}),
              "https://example.org/");
    EXPECT_EQ(BrowserIdentity::pageAddress({{"DocURL", "about:blank"}, {"URI", "x"}}),
              "about:blank");
    EXPECT_FALSE(BrowserIdentity::pageAddress({{"URI", "  "}, {"MimeType", "text/html"}}));
    EXPECT_FALSE(BrowserIdentity::pageAddress({}));
}

} // namespace
