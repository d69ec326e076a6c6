#pragma once

#include "TavrikCore/Permissions/PermissionBackend.h"
#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Replay/DesktopActor.h"

namespace tavrik {

// No accessibility on this build or session: every target is absent and nothing is redacted.
class NullAXResolver final : public AXResolver {
public:
    std::optional<AXTarget> target(Point) override { return std::nullopt; }
    std::optional<AXTarget> focusedTarget() override { return std::nullopt; }
    QList<Rect> secureFieldRects() override { return {}; }
    std::optional<FrontmostApplication> frontmostApplication() override { return std::nullopt; }
    bool isAvailable() const override { return false; }
};

// No accessibility to replay through: no windows, and every action fails.
class NullDesktopActor final : public DesktopActor {
public:
    bool isAvailable() const override { return false; }
    QList<LiveWindow> windows() override { return {}; }
    QList<LiveElement> elements(const LiveWindow&, const QString&, int) override { return {}; }
    std::optional<LiveElement> refresh(const LiveElement&) override { return std::nullopt; }
    std::optional<LiveElement> parent(const LiveElement&) override { return std::nullopt; }
    bool reaches(const LiveElement&, Point) override { return false; }
    bool performAction(const LiveElement&, const QString&) override { return false; }
    bool focus(const LiveElement&) override { return false; }
    bool select(const LiveElement&) override { return false; }
    bool insertText(const LiveElement&, const QString&) override { return false; }
    bool replaceText(const LiveElement&, const QString&) override { return false; }
    std::optional<QString> text(const LiveElement&) override { return std::nullopt; }
    bool activateWindow(const LiveWindow&) override { return false; }
};

// A session this build cannot examine: nothing is known and nothing can be switched on.
class NullPermissionBackend final : public PermissionBackend {
public:
    PermissionStatus check(Permission) override { return PermissionStatus::notDetermined; }
    bool enable(Permission) override { return false; }
};

} // namespace tavrik
