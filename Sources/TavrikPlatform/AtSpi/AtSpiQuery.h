#pragma once

// libatspi pulls in GLib, whose headers use `signals` as a field name: include this header before
// any Qt header.
// clang-format off
#include <atspi/atspi.h>
// clang-format on

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Rect.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

// What the recorder's resolver and the replay actor share of libatspi: owned references and the
// time-bounded calls to one application.
namespace tavrik::atspi {

// Longest ancestor chain followed; real trees are far shallower.
constexpr int maxAncestors = 64;

struct Unref {
    void operator()(gpointer object) const {
        if (object) {
            g_object_unref(object);
        }
    }
};
template <typename T> using Ref = std::unique_ptr<T, Unref>;
using Accessible = Ref<AtspiAccessible>;

inline Accessible retain(AtspiAccessible* object) {
    return Accessible(object ? static_cast<AtspiAccessible*>(g_object_ref(object)) : nullptr);
}

inline QString takeString(gchar* text) {
    QString result = text ? QString::fromUtf8(text) : QString();
    g_free(text);
    return result;
}

inline std::optional<QString> nonEmpty(const QString& text) {
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

inline bool contains(const Rect& r, Point p) {
    return p.x >= r.origin.x && p.y >= r.origin.y && p.x < r.origin.x + r.size.width &&
           p.y < r.origin.y + r.size.height;
}

// How far apart two frames are, corner and size together: an accessible window and the X window
// that shows it differ by a few points at most (decorations drawn by the client).
inline double frameDistance(const Rect& a, const Rect& b) {
    return std::abs(a.origin.x - b.origin.x) + std::abs(a.origin.y - b.origin.y) +
           std::abs(a.size.width - b.size.width) + std::abs(a.size.height - b.size.height);
}

// What a call hands over when it failed all the same: libatspi returns "" for a name it could
// not read, and a rectangle of -1s for extents, each owned by the caller.
inline void release(gchar* text) {
    g_free(text);
}
inline void release(AtspiRect* rect) {
    g_free(rect);
}
inline void release(AtspiRange* range) {
    g_free(range);
}
inline void release(AtspiAccessible* object) {
    Unref()(object);
}
inline void release(AtspiStateSet* set) {
    Unref()(set);
}
inline void release(GHashTable* table) {
    if (table) {
        g_hash_table_unref(table);
    }
}
// An array comes with an error only empty.
inline void release(GArray* array) {
    if (array) {
        g_array_free(array, TRUE);
    }
}
template <typename T>
requires(!std::is_pointer_v<T>) void release(T) {}

// The name AT-SPI gives a role ("push button"), which is what recordings store.
QString roleName(AtspiRole role);
// The role of that name; ATSPI_ROLE_INVALID when there is none.
AtspiRole roleNamed(const QString& name);

// One question put to one application, with one time budget for all its calls: each call may
// take only what is left of it (libatspi's method-call timeout is set from the remainder before
// every call). Once the budget is spent the remaining calls are skipped, so a question never takes
// much longer than the budget.
//
// Running out of time is not the same as not answering. A big tree read over a slow bus (a loaded
// machine, a Qt window walked node by node) spends the budget on hundreds of quick replies; only
// a call that had a fair share of the budget and still got no reply marks the application as
// unresponsive, which is what sends it into the cooldown.
class Query {
public:
    explicit Query(int budgetMs) : m_budgetMs(budgetMs) { m_clock.start(); }

    // No further calls: the budget is spent or the application stopped answering. What was read
    // so far may be incomplete.
    bool stopped() const { return m_stopped; }
    bool unresponsive() const { return m_unresponsive; }

    // Where the application's coordinates start on the screen, for a toolkit that reports them
    // relative to its window (every toolkit on Wayland): extents come back global all the same.
    // `asked` is what the application is asked for: GTK 4 answers only for window coordinates,
    // and complains of every call for screen ones.
    void setOrigin(std::optional<Point> origin, AtspiCoordType asked = ATSPI_COORD_TYPE_SCREEN) {
        m_origin = origin;
        m_asked = asked;
    }
    // A global point in the application's own coordinates, for its hit test.
    Point local(Point global) const {
        return m_origin ? Point{global.x - m_origin->x, global.y - m_origin->y} : global;
    }

    template <typename F> auto call(F&& f) -> std::optional<decltype(f(nullptr))> {
        if (m_stopped) {
            return std::nullopt;
        }
        const qint64 remaining = m_budgetMs - m_clock.elapsed();
        if (remaining <= 0) {
            m_stopped = true;
            return std::nullopt;
        }
        // libatspi can wait twice its timeout for an application that does not answer (its
        // reentrant wait starts over once after dispatching other traffic): hence half. A call
        // that used up its share ran out, whatever it returned.
        const qint64 allowed = std::max<qint64>(1, remaining / 2);
        atspi_set_timeout(int(allowed), 0);
        const qint64 start = m_clock.elapsed();
        GError* error = nullptr;
        auto value = f(&error);
        if (m_clock.elapsed() - start >= allowed) {
            m_stopped = true;
            // A sliver of the budget is no fair chance: the time is up, the application may be
            // fine.
            if (allowed * 4 >= m_budgetMs) {
                m_unresponsive = true;
            }
        }
        if (m_clock.elapsed() >= m_budgetMs) {
            m_stopped = true;
        }
        if (error) {
            g_error_free(error);
            release(value);
            return std::nullopt;
        }
        return value;
    }

    // The application's toolkit ("gtk", "Qt"); absent without an answer, which is no toolkit
    // name to remember: an application just started or on a loaded machine answers late.
    std::optional<QString> toolkitName(AtspiAccessible* app) {
        return nonEmpty(takeString(call([&](GError** e) {
                                       return atspi_accessible_get_toolkit_name(app, e);
                                   }).value_or(nullptr)));
    }

    Accessible accessible(AtspiAccessible* (*getter)(AtspiAccessible*, GError**),
                          AtspiAccessible* of) {
        return Accessible(call([&](GError** e) { return getter(of, e); }).value_or(nullptr));
    }

    std::optional<AtspiRole> role(AtspiAccessible* object) {
        auto role = call([&](GError** e) { return atspi_accessible_get_role(object, e); });
        if (!role || *role == ATSPI_ROLE_INVALID) {
            return std::nullopt;
        }
        return role;
    }

    std::optional<Rect> extents(AtspiAccessible* object) {
        auto rect = call([&](GError** e) {
            return atspi_component_get_extents(ATSPI_COMPONENT(object), m_asked, e);
        });
        if (!rect || !*rect) {
            return std::nullopt;
        }
        Rect result((*rect)->x, (*rect)->y, (*rect)->width, (*rect)->height);
        g_free(*rect);
        if (m_origin) {
            result.origin.x += m_origin->x;
            result.origin.y += m_origin->y;
        }
        if (result.size.width <= 0 || result.size.height <= 0) {
            return std::nullopt;
        }
        return result;
    }

    // The application's own hit test: its child of `object` at the global point `at`.
    Accessible childAt(AtspiAccessible* object, Point at) {
        const Point p = local(at);
        return Accessible(call([&](GError** e) {
                              return atspi_component_get_accessible_at_point(
                                  ATSPI_COMPONENT(object), int(p.x), int(p.y), m_asked, e);
                          }).value_or(nullptr));
    }

    // The same hit test with `at` as the screen point, for toolkits whose window coordinates
    // cannot be trusted.
    Accessible childAtOnScreen(AtspiAccessible* object, Point at) {
        return Accessible(call([&](GError** e) {
                              return atspi_component_get_accessible_at_point(
                                  ATSPI_COMPONENT(object), int(at.x), int(at.y),
                                  ATSPI_COORD_TYPE_SCREEN, e);
                          }).value_or(nullptr));
    }

    // Without a reply the set comes back empty, which reads as "none of these states".
    bool hasStates(AtspiAccessible* object, std::initializer_list<AtspiStateType> states) {
        auto set = call([&](GError**) { return atspi_accessible_get_state_set(object); });
        if (!set || !*set) {
            return false;
        }
        Ref<AtspiStateSet> owned(*set);
        return std::all_of(states.begin(), states.end(),
                           [&](AtspiStateType s) { return atspi_state_set_contains(*set, s); });
    }

    QStringList interfaces(AtspiAccessible* object) {
        QStringList names;
        auto array = call([&](GError**) { return atspi_accessible_get_interfaces(object); });
        if (!array || !*array) {
            return names;
        }
        for (guint i = 0; i < (*array)->len; ++i) {
            names.append(takeString(g_array_index(*array, gchar*, i)));
        }
        g_array_free(*array, TRUE);
        return names;
    }

    std::vector<Accessible> children(AtspiAccessible* object, bool* complete = nullptr) {
        std::vector<Accessible> result;
        auto count = call([&](GError** e) { return atspi_accessible_get_child_count(object, e); });
        for (gint i = 0; count && i < *count && !m_stopped; ++i) {
            Accessible child(call([&](GError** e) {
                                 return atspi_accessible_get_child_at_index(object, i, e);
                             }).value_or(nullptr));
            if (child) {
                result.push_back(std::move(child));
            }
        }
        if (complete) {
            *complete = count.has_value() && !m_stopped;
        }
        return result;
    }

    // Matches under `root` through the application's own Collection search; absent when the
    // application has none (Qt) or it failed.
    std::optional<std::vector<Accessible>> matches(AtspiAccessible* root, AtspiRole role,
                                                   std::initializer_list<AtspiStateType> states,
                                                   int count) {
        AtspiStateSet* stateSet = atspi_state_set_new(nullptr);
        for (AtspiStateType s : states) {
            atspi_state_set_add(stateSet, s);
        }
        GArray* roles = g_array_new(FALSE, FALSE, sizeof(AtspiRole));
        if (role != ATSPI_ROLE_INVALID) {
            g_array_append_val(roles, role);
        }
        AtspiMatchRule* rule = atspi_match_rule_new(
            stateSet, ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_NONE, roles,
            role != ATSPI_ROLE_INVALID ? ATSPI_Collection_MATCH_ANY : ATSPI_Collection_MATCH_NONE,
            nullptr, ATSPI_Collection_MATCH_NONE, FALSE);
        auto found = call([&](GError** e) {
            return atspi_collection_get_matches(ATSPI_COLLECTION(root), rule,
                                                ATSPI_Collection_SORT_ORDER_CANONICAL, count, TRUE,
                                                e);
        });
        g_object_unref(rule);
        g_object_unref(stateSet);
        g_array_free(roles, TRUE);
        if (!found || !*found) {
            return std::nullopt;
        }
        std::vector<Accessible> result;
        for (guint i = 0; i < (*found)->len; ++i) {
            result.emplace_back(g_array_index(*found, AtspiAccessible*, i));
        }
        g_array_free(*found, TRUE);
        return result;
    }

    // The name a person sees on `element`; empty for none. With `labelled` the labels that label
    // the element name it when it has any: GTK 4 joins them to the element's own label, so that a
    // button showing "+" (its label mnemonic-parsed) is named "+ +".
    QString shownName(AtspiAccessible* element, bool labelled);

    // The element's place under `window` (see AXPath.h), from its ancestors: empty for the window
    // itself; absent when the chain could not be read.
    std::optional<QString> path(AtspiAccessible* element, AtspiAccessible* window);
    // The text of a Text element (at most `maxLength` characters), else a Value's number. Never
    // ask it of a password field.
    std::optional<QString> value(AtspiAccessible* element, const QStringList& interfaces,
                                 int maxLength);

private:
    int m_budgetMs;
    QElapsedTimer m_clock;
    bool m_stopped = false;
    std::optional<Point> m_origin;
    AtspiCoordType m_asked = ATSPI_COORD_TYPE_SCREEN;
    bool m_unresponsive = false;
};

} // namespace tavrik::atspi
