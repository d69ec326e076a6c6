#include "ScreenCastGrant.h"

#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/Wayland/ScreenCastFrameCapturer.h"
#include "TavrikPlatform/Wayland/ScreenCastPortal.h"

#include <atspi/atspi.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace tavrik::test {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Accessible = std::unique_ptr<AtspiAccessible, Unref>;

QString takeString(gchar* text) {
    const QString result = QString::fromUtf8(text ? text : "");
    g_free(text);
    return result;
}

// The first accessible under `root` (depth first) that `wanted` accepts.
Accessible find(AtspiAccessible* root, const std::function<bool(AtspiAccessible*)>& wanted,
                int depth = 0) {
    if (depth > 20)
        return nullptr;
    const gint count = atspi_accessible_get_child_count(root, nullptr);
    for (gint i = 0; i < count; ++i) {
        Accessible child(atspi_accessible_get_child_at_index(root, i, nullptr));
        if (!child)
            continue;
        if (wanted(child.get()))
            return child;
        if (Accessible inner = find(child.get(), wanted, depth + 1))
            return inner;
    }
    return nullptr;
}

// The dialog belongs to the portal's GNOME part. Its widgets (GTK 4) are not reported as
// showing, so they are read here directly rather than through Tavrik's actor, which acts only on
// what is shown.
Accessible portalApplication() {
    Accessible desktop(atspi_get_desktop(0));
    return find(
        desktop.get(),
        [](AtspiAccessible* a) {
            return takeString(atspi_accessible_get_name(a, nullptr))
                .contains(QStringLiteral("desktop-portal-gnome"));
        },
        19);
}

Accessible byRole(AtspiAccessible* root, AtspiRole role, const QString& name = {}) {
    return find(root, [&](AtspiAccessible* a) {
        return atspi_accessible_get_role(a, nullptr) == role &&
               takeString(atspi_accessible_get_name(a, nullptr)).contains(name);
    });
}

bool sensitive(AtspiAccessible* a) {
    AtspiStateSet* states = atspi_accessible_get_state_set(a);
    const bool result = states && atspi_state_set_contains(states, ATSPI_STATE_SENSITIVE);
    if (states)
        g_object_unref(states);
    return result;
}

bool click(AtspiAccessible* button) {
    AtspiAction* action = atspi_accessible_get_action_iface(button);
    if (!action)
        return false;
    bool done = false;
    const gint count = atspi_action_get_n_actions(action, nullptr);
    for (gint i = 0; i < count && !done; ++i) {
        if (takeString(atspi_action_get_action_name(action, i, nullptr)) == QStringLiteral("click"))
            done = atspi_action_do_action(action, i, nullptr);
    }
    g_object_unref(action);
    return done;
}

} // namespace

bool screenCastDialogOpen() {
    const Accessible portal = portalApplication();
    return portal && byRole(portal.get(), ATSPI_ROLE_PUSH_BUTTON, QStringLiteral("Share"));
}

bool answerScreenCastDialog(int timeoutMs) {
    Accessible portal;
    Accessible list;
    Accessible share;
    if (!waitFor(
            [&] {
                portal = portalApplication();
                if (!portal)
                    return false;
                list = byRole(portal.get(), ATSPI_ROLE_LIST);
                share = byRole(portal.get(), ATSPI_ROLE_PUSH_BUTTON, QStringLiteral("Share"));
                return list && share;
            },
            timeoutMs))
        return false;
    AtspiSelection* selection = atspi_accessible_get_selection_iface(list.get());
    if (!selection)
        return false;
    const bool chosen = atspi_selection_select_child(selection, 0, nullptr);
    g_object_unref(selection);
    // Share is enabled once a screen is chosen.
    return chosen && waitFor([&] { return sensitive(share.get()); }, 5000) && click(share.get());
}

void grantScreenCast() {
    if (!wayland::ScreenCastPortal::isOffered())
        return;
    const std::unique_ptr<FrameCapturer> frames = DesktopBackend::createFrameCapturer();
    const auto* cast = dynamic_cast<const wayland::ScreenCastFrameCapturer*>(frames.get());
    ASSERT_NE(cast, nullptr);
    // Either it was granted before and starts at once, or the dialog asks.
    ASSERT_TRUE(waitFor([&] { return cast->isStreaming() || screenCastDialogOpen(); }, 15000));
    if (!cast->isStreaming()) {
        ASSERT_TRUE(answerScreenCastDialog(15000));
        ASSERT_TRUE(waitFor([&] { return cast->isStreaming(); }, 15000))
            << cast->errorString().toStdString();
    }
}

void expectHiddenInFrame(const QImage& image, const Rect& hidden) {
    int visible = 0;
    for (int y = int(hidden.origin.y); y < int(hidden.origin.y + hidden.size.height); ++y)
        for (int x = int(hidden.origin.x); x < int(hidden.origin.x + hidden.size.width); ++x)
            visible += qGray(image.pixel(x, y)) != 0;
    EXPECT_EQ(visible, 0);
    int lit = 0;
    for (int x = int(hidden.origin.x); x < int(hidden.origin.x + hidden.size.width); ++x)
        lit += qGray(image.pixel(x, int(hidden.origin.y) - 3)) > 0;
    EXPECT_GT(lit, int(hidden.size.width) / 2);
}

} // namespace tavrik::test
