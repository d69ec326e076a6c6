#pragma once

#include "TavrikCore/Permissions/PermissionBackend.h"
#include "TavrikCore/Recorder/AXResolver.h"

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

// A session this build cannot examine: nothing is known and nothing can be switched on.
class NullPermissionBackend final : public PermissionBackend {
public:
    PermissionStatus check(Permission) override { return PermissionStatus::notDetermined; }
    bool enable(Permission) override { return false; }
};

} // namespace tavrik
