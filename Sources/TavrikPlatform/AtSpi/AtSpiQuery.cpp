// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikCore/Replay/AXPath.h"
#include "TavrikPlatform/AtSpi/ToolkitTraits.h"

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

QString Query::shownName(AtspiAccessible* element, bool labelled) {
    QString name = takeString(
        call([&](GError** e) { return atspi_accessible_get_name(element, e); }).value_or(nullptr));
    // A name joined of two has a space: a single word needs no look at the labels.
    if (labelled && name.contains(u' ')) {
        QStringList labels;
        GArray* relations = call([&](GError** e) {
                                return atspi_accessible_get_relation_set(element, e);
                            }).value_or(nullptr);
        for (guint i = 0; relations && i < relations->len; ++i) {
            AtspiRelation* relation = g_array_index(relations, AtspiRelation*, i);
            if (atspi_relation_get_relation_type(relation) == ATSPI_RELATION_LABELLED_BY) {
                for (gint t = 0; t < atspi_relation_get_n_targets(relation); ++t) {
                    const Accessible label(atspi_relation_get_target(relation, t));
                    const QString text =
                        takeString(call([&](GError** e) {
                                       return atspi_accessible_get_name(label.get(), e);
                                   }).value_or(nullptr));
                    if (!text.isEmpty()) {
                        labels.append(text);
                    }
                }
            }
            g_object_unref(relation);
        }
        if (relations) {
            g_array_free(relations, TRUE);
        }
        if (!labels.isEmpty()) {
            name = labels.join(u' ');
        }
    }
    return ToolkitTraits::isTypeName(name) ? QString() : name;
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
