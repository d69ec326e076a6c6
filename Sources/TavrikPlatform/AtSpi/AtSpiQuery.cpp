// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikCore/Replay/AXPath.h"

#include <QHash>

namespace tavrik::atspi {

QString roleName(AtspiRole role) {
    return takeString(atspi_role_get_name(role));
}

AtspiRole roleNamed(const QString& name) {
    static const QHash<QString, AtspiRole> roles = [] {
        QHash<QString, AtspiRole> byName;
        for (int r = ATSPI_ROLE_INVALID + 1; r < ATSPI_ROLE_LAST_DEFINED; ++r) {
            byName.insert(roleName(AtspiRole(r)), AtspiRole(r));
        }
        return byName;
    }();
    return roles.value(name, ATSPI_ROLE_INVALID);
}

std::optional<QString> Query::path(AtspiAccessible* element, AtspiAccessible* window) {
    QList<AXPath::Segment> segments;
    Accessible current = retain(element);
    for (int depth = 0; depth < maxAncestors; ++depth) {
        if (current.get() == window) {
            return AXPath::join(segments);
        }
        Accessible parent = accessible(atspi_accessible_get_parent, current.get());
        if (!parent) {
            return std::nullopt;
        }
        // Reaching the application means `current` is a top-level window itself (`window` was
        // another one, or a popup's): the place is counted from there.
        if (parent.get() != window && this->role(parent.get()) == ATSPI_ROLE_APPLICATION) {
            return AXPath::join(segments);
        }
        const std::optional<AtspiRole> role = this->role(current.get());
        const std::optional<gint> index = call(
            [&](GError** e) { return atspi_accessible_get_index_in_parent(current.get(), e); });
        if (!role || !index || *index < 0) {
            return std::nullopt;
        }
        segments.prepend(AXPath::Segment{roleName(*role), *index});
        current = std::move(parent);
    }
    return std::nullopt;
}

std::optional<QString> Query::value(AtspiAccessible* element, const QStringList& interfaces,
                                    int maxLength) {
    if (interfaces.contains("Text")) {
        auto count = call(
            [&](GError** e) { return atspi_text_get_character_count(ATSPI_TEXT(element), e); });
        if (count && *count > 0) {
            return nonEmpty(takeString(call([&](GError** e) {
                                           return atspi_text_get_text(ATSPI_TEXT(element), 0,
                                                                      std::min(*count, maxLength),
                                                                      e);
                                       }).value_or(nullptr)));
        }
        return std::nullopt;
    }
    if (interfaces.contains("Value")) {
        auto value = call(
            [&](GError** e) { return atspi_value_get_current_value(ATSPI_VALUE(element), e); });
        if (value) {
            return QString::number(*value);
        }
    }
    return std::nullopt;
}

} // namespace tavrik::atspi
