// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikPlatform/AtSpi/AtSpiDesktopActor.h"

#include "TavrikCore/Replay/AXPath.h"
#include "TavrikPlatform/AtSpi/ClientWindows.h"
#include "TavrikPlatform/AtSpi/QuietApplications.h"
#include "TavrikPlatform/AtSpi/ToolkitTraits.h"

#include <QCoreApplication>
#include <QHash>
#include <algorithm>
#include <functional>
#include <map>
#include <unordered_map>

namespace tavrik::atspi {

namespace {

// A walk never visits more than this many elements, nor goes deeper than this.
constexpr int maxWalkElements = 20000;
constexpr int maxWalkDepth = 64;
// Values compared by replay; a whole document's text is read only when asked for.
constexpr int maxValueLength = 2000;
constexpr int maxTextLength = 1 << 20;

// The states replay compares, read in one call; absent when the element did not answer.
class States {
public:
    static std::optional<States> of(AtspiAccessible* object, Query& query) {
        auto set = query.call([&](GError**) { return atspi_accessible_get_state_set(object); });
        if (!set || !*set) {
            return std::nullopt;
        }
        Ref<AtspiStateSet> owned(*set);
        States states;
        for (int s = ATSPI_STATE_INVALID + 1; s < ATSPI_STATE_LAST_DEFINED && s < 64; ++s) {
            if (atspi_state_set_contains(*set, AtspiStateType(s))) {
                states.m_bits |= quint64(1) << s;
            }
        }
        return states;
    }
    bool has(AtspiStateType s) const { return m_bits & (quint64(1) << s); }

private:
    quint64 m_bits = 0;
};

QString name(AtspiAccessible* object, Query& query) {
    return takeString(query.call([&](GError** e) { return atspi_accessible_get_name(object, e); })
                          .value_or(nullptr));
}

QString joinPath(const QString& parent, const QString& segment) {
    return parent.isEmpty() ? segment : parent + u'/' + segment;
}

bool toolkitCountsUtf16(const QString& toolkit) {
    return toolkit.compare(QLatin1String("Qt"), Qt::CaseInsensitive) == 0;
}

// Start and end offset of a text's first selection.
using Selection = std::pair<gint, gint>;

std::optional<Selection> selection(AtspiAccessible* object, Query& query) {
    const gint count =
        query.call([&](GError** e) { return atspi_text_get_n_selections(ATSPI_TEXT(object), e); })
            .value_or(0);
    if (count <= 0) {
        return std::nullopt;
    }
    auto range =
        query.call([&](GError** e) { return atspi_text_get_selection(ATSPI_TEXT(object), 0, e); });
    if (!range || !*range) {
        return std::nullopt;
    }
    const Selection result{(*range)->start_offset, (*range)->end_offset};
    g_free(*range);
    return result;
}

} // namespace

struct AtSpiDesktopActor::Private {
    struct Entry {
        Accessible object;
        quint64 window = 0; // 0 for a window itself
        qint64 pid = 0;
        // A window's: where its elements' window-local coordinates start (Wayland, GTK 4).
        std::optional<Point> origin;
        // A window's: GTK 4 marks only the window showing, so inside it a visible element with a
        // place on screen counts as showing; its names are joined to their labels too.
        bool visibleShows = false;
    };

    Options options;
    std::unique_ptr<WindowDirectory> x;
    bool ready = false;
    quint64 nextHandle = 1;
    std::map<quint64, Entry> entries;
    // libatspi hands out one object per remote element while it is referenced: the same element
    // keeps its handle across searches.
    std::unordered_map<AtspiAccessible*, quint64> handles;
    QuietApplications quiet;
    QHash<qint64, QString> toolkits;
    // Whether the application's toolkit reports extents relative to its windows on X11 (GTK 4).
    QHash<qint64, bool> localExtents;

    bool extentsInWindow(AtspiAccessible* app, qint64 pid, Query& query) {
        if (auto it = localExtents.constFind(pid); it != localExtents.constEnd()) {
            return *it;
        }
        const QString version = takeString(
            query.call([&](GError** e) { return atspi_accessible_get_toolkit_version(app, e); })
                .value_or(nullptr));
        if (query.stopped()) {
            return false;
        }
        return *localExtents.insert(
            pid, ToolkitTraits::extentsInWindow(toolkit(app, pid, query), version));
    }

    // A question about the elements of `window` (a window's handle), whose places come back
    // global.
    Query question(quint64 window, int budgetMs) const {
        Query query(budgetMs);
        if (auto it = entries.find(window); it != entries.end() && it->second.origin) {
            query.setOrigin(it->second.origin, it->second.visibleShows ? ATSPI_COORD_TYPE_WINDOW
                                                                       : ATSPI_COORD_TYPE_SCREEN);
        }
        return query;
    }

    bool shows(const States& states, quint64 window) const {
        if (states.has(ATSPI_STATE_SHOWING)) {
            return true;
        }
        const auto it = entries.find(window);
        return it != entries.end() && it->second.visibleShows && states.has(ATSPI_STATE_VISIBLE);
    }

    quint64 handleFor(AtspiAccessible* object, quint64 window, qint64 pid) {
        if (auto it = handles.find(object); it != handles.end()) {
            return it->second;
        }
        if (entries.size() >= size_t(std::max(1, options.maxHandles))) {
            for (auto it = entries.begin(); it != entries.end();) {
                if (it->second.window != 0) {
                    handles.erase(it->second.object.get());
                    it = entries.erase(it);
                } else {
                    ++it;
                }
            }
        }
        const quint64 handle = nextHandle++;
        entries.emplace(handle, Entry{retain(object), window, pid});
        handles.emplace(object, handle);
        return handle;
    }

    // The entry of an element (or window) whose application is answering.
    const Entry* entry(quint64 handle) {
        auto it = entries.find(handle);
        if (it == entries.end() || isQuiet(it->second.pid)) {
            return nullptr;
        }
        return &it->second;
    }

    AtspiAccessible* windowObject(const Entry& element) {
        auto it = entries.find(element.window);
        return it == entries.end() ? nullptr : it->second.object.get();
    }

    bool isQuiet(qint64 pid) { return quiet.contains(pid); }

    void finish(const Query& query, qint64 pid) { quiet.questionEnded(pid, query.unresponsive()); }

    LiveElement read(AtspiAccessible* object, AtspiRole role, const States& states,
                     const QString& path, quint64 window, qint64 pid, Query& query) {
        LiveElement element;
        element.handle = handleFor(object, window, pid);
        element.window = window;
        element.role = roleName(role);
        element.secure = role == ATSPI_ROLE_PASSWORD_TEXT;
        const auto windowEntry = entries.find(window);
        element.name = query.shownName(object, windowEntry != entries.end() &&
                                                   windowEntry->second.visibleShows);
        element.description = takeString(
            query.call([&](GError** e) { return atspi_accessible_get_description(object, e); })
                .value_or(nullptr));
        element.identifier = takeString(
            query.call([&](GError** e) { return atspi_accessible_get_accessible_id(object, e); })
                .value_or(nullptr));
        const QStringList interfaces = query.interfaces(object);
        if (!element.secure) {
            element.value = query.value(object, interfaces, maxValueLength);
        }
        element.path = path;
        if (auto frame = query.extents(object)) {
            element.frame = *frame;
        }
        element.showing = shows(states, window);
        element.enabled = states.has(ATSPI_STATE_ENABLED) || states.has(ATSPI_STATE_SENSITIVE);
        element.focused = states.has(ATSPI_STATE_FOCUSED);
        element.focusable = states.has(ATSPI_STATE_FOCUSABLE);
        element.editable = states.has(ATSPI_STATE_EDITABLE);
        element.singleLine = states.has(ATSPI_STATE_SINGLE_LINE);
        element.checkable = states.has(ATSPI_STATE_CHECKABLE);
        element.checked = states.has(ATSPI_STATE_CHECKED);
        element.selected = states.has(ATSPI_STATE_SELECTED);
        element.selectable = states.has(ATSPI_STATE_SELECTABLE);
        // A choice in a combo box's open list offers to toggle its highlight there, which leaves
        // the box as it was: without the action it is chosen the way a person does, by a click.
        const QList<AXPath::Segment> place = AXPath::split(path);
        const bool comboChoice =
            role == ATSPI_ROLE_LIST_ITEM &&
            std::any_of(place.size() > 3 ? place.end() - 3 : place.begin(), place.end(),
                        [](const AXPath::Segment& s) { return s.role == u"combo box"; });
        if (interfaces.contains("Action") && !comboChoice) {
            const gint count = query
                                   .call([&](GError** e) {
                                       return atspi_action_get_n_actions(ATSPI_ACTION(object), e);
                                   })
                                   .value_or(0);
            for (gint i = 0; i < count && !query.stopped(); ++i) {
                const QString action = takeString(query
                                                      .call([&](GError** e) {
                                                          return atspi_action_get_action_name(
                                                              ATSPI_ACTION(object), i, e);
                                                      })
                                                      .value_or(nullptr));
                if (!action.isEmpty()) {
                    element.actions.append(action);
                }
            }
        }
        return element;
    }

    // Calls `visit(child, index, states, role)` for each showing child of `node` until it returns
    // false or the walk's budget is spent. Hidden rows of a long list are many: their role is not
    // worth a call.
    template <typename Visit>
    void showingChildren(AtspiAccessible* node, quint64 window, Query& query, int& visited,
                         Visit&& visit) {
        const gint count =
            query.call([&](GError** e) { return atspi_accessible_get_child_count(node, e); })
                .value_or(0);
        for (gint i = 0; i < count; ++i) {
            if (visited >= maxWalkElements || query.stopped()) {
                return;
            }
            Accessible child(query
                                 .call([&](GError** e) {
                                     return atspi_accessible_get_child_at_index(node, i, e);
                                 })
                                 .value_or(nullptr));
            if (!child) {
                continue;
            }
            ++visited;
            const std::optional<States> states = States::of(child.get(), query);
            if (!states || !shows(*states, window)) {
                continue;
            }
            const std::optional<AtspiRole> role = query.role(child.get());
            if (role && !visit(child, i, *states, *role)) {
                return;
            }
        }
    }

    // Depth first below `node` (whose place is `path`), showing elements only.
    void walk(AtspiAccessible* node, const QString& path, int depth, AtspiRole wanted, int limit,
              quint64 window, qint64 pid, Query& query, QList<LiveElement>& found, int& visited) {
        showingChildren(
            node, window, query, visited,
            [&](const Accessible& child, gint i, const States& states, AtspiRole role) {
                if (found.size() >= limit) {
                    return false;
                }
                const QString childPath = joinPath(path, AXPath::segment(roleName(role), i));
                if (wanted == ATSPI_ROLE_INVALID || role == wanted) {
                    found.append(read(child.get(), role, states, childPath, window, pid, query));
                }
                if (depth + 1 < maxWalkDepth) {
                    walk(child.get(), childPath, depth + 1, wanted, limit, window, pid, query,
                         found, visited);
                }
                return true;
            });
    }

    // Depth first below `node`: a line per showing element from what the bridge keeps at hand
    // (states, role, name), the text only of an editable one. No handles, extents or actions.
    void sketch(AtspiAccessible* node, int depth, int limit, quint64 window, Query& query,
                QStringList& lines, int& visited) {
        showingChildren(
            node, window, query, visited,
            [&](const Accessible& child, gint, const States& states, AtspiRole role) {
                if (lines.size() >= limit) {
                    return false;
                }
                QString line = roleName(role) + u'|' + name(child.get(), query) + u'|';
                if (states.has(ATSPI_STATE_EDITABLE) && role != ATSPI_ROLE_PASSWORD_TEXT) {
                    line += query.value(child.get(), query.interfaces(child.get()), maxValueLength)
                                .value_or(QString());
                }
                if (states.has(ATSPI_STATE_SELECTED)) {
                    line += QLatin1String("|selected");
                }
                if (states.has(ATSPI_STATE_CHECKED)) {
                    line += QLatin1String("|checked");
                }
                lines.append(line);
                if (depth + 1 < maxWalkDepth) {
                    sketch(child.get(), depth + 1, limit, window, query, lines, visited);
                }
                return true;
            });
    }

    // An open pop-up of the application away from `at` (a text field's list of completions) takes
    // the next click anywhere to close itself: a click at `at` would not reach what is there.
    bool popupElsewhere(AtspiAccessible* window, Point at, Query& query) {
        const Accessible app = query.accessible(atspi_accessible_get_application, window);
        if (!app) {
            return false;
        }
        for (Accessible& child : query.children(app.get())) {
            if (query.role(child.get()) != ATSPI_ROLE_WINDOW) {
                continue;
            }
            const std::optional<States> states = States::of(child.get(), query);
            const std::optional<Rect> frame = query.extents(child.get());
            if (states && states->has(ATSPI_STATE_SHOWING) && frame && !contains(*frame, at)) {
                return true;
            }
        }
        return false;
    }

    // The application's toolkit, which decides how EditableText counts a text's length.
    QString toolkit(AtspiAccessible* object, qint64 pid, Query& query) {
        auto it = toolkits.constFind(pid);
        if (it != toolkits.constEnd()) {
            return *it;
        }
        const std::optional<QString> name = query.toolkitName(object);
        if (!name) {
            return {};
        }
        return *toolkits.insert(pid, *name);
    }
};

AtSpiDesktopActor::AtSpiDesktopActor() : AtSpiDesktopActor(Options{}) {}

AtSpiDesktopActor::AtSpiDesktopActor(Options options)
    : AtSpiDesktopActor(std::make_unique<ClientWindows>(), options) {}

AtSpiDesktopActor::AtSpiDesktopActor(std::unique_ptr<WindowDirectory> windows, Options options)
    : d(std::make_unique<Private>()) {
    d->options = options;
    d->quiet.setCooldown(options.cooldownMs);
    d->x = std::move(windows);
    if (d->x->isOpen()) {
        const int status = atspi_init();
        d->ready = status == 0 || status == 1;
        atspi_set_timeout(options.timeoutMs, 0);
    }
}

AtSpiDesktopActor::~AtSpiDesktopActor() = default;

bool AtSpiDesktopActor::isAvailable() const {
    return d->x->isOpen() && d->ready;
}

QList<LiveWindow> AtSpiDesktopActor::windows() {
    if (!isAvailable()) {
        return {};
    }
    const QList<ClientWindow> clients = d->x->clients();
    const bool listed = d->x->listsWindows();
    const std::optional<ClientWindow> activeClient = d->x->active();
    const qint64 ownPid = QCoreApplication::applicationPid();
    // The stacking order of each window's X window, to list the top ones first.
    QList<std::pair<LiveWindow, qsizetype>> found;

    Accessible desktop(atspi_get_desktop(0));
    Query registry(d->options.timeoutMs);
    const gint appCount =
        registry
            .call([&](GError** e) { return atspi_accessible_get_child_count(desktop.get(), e); })
            .value_or(0);
    for (gint a = 0; a < appCount && !registry.stopped(); ++a) {
        Accessible app(registry
                           .call([&](GError** e) {
                               return atspi_accessible_get_child_at_index(desktop.get(), a, e);
                           })
                           .value_or(nullptr));
        if (!app) {
            continue;
        }
        const qint64 pid =
            registry.call([&](GError** e) { return atspi_accessible_get_process_id(app.get(), e); })
                .value_or(0);
        if (pid <= 0 || pid == ownPid || d->isQuiet(pid)) {
            continue;
        }
        QList<qsizetype> ownClients;
        for (qsizetype i = 0; i < clients.size(); ++i) {
            if (clients[i].pid == pid) {
                ownClients.append(i);
            }
        }
        // Without a client window there is no identity to match a recording with, unless the
        // window system lists none at all and the application is named from its own answers.
        if (ownClients.isEmpty() && listed) {
            continue;
        }
        Query query(d->options.timeoutMs);
        const QString toolkit = d->toolkit(app.get(), pid, query);
        const QString appAccessibleName = name(app.get(), query);
        for (Accessible& child : query.children(app.get())) {
            const std::optional<States> states = States::of(child.get(), query);
            if (!states || !states->has(ATSPI_STATE_SHOWING)) {
                continue;
            }
            const QString title = name(child.get(), query);
            qsizetype client = ownClients.isEmpty() ? clients.size() : ownClients.first();
            for (qsizetype i : ownClients) {
                if (clients[i].title == title) {
                    client = i;
                    break;
                }
            }
            ClientWindow xWindow;
            if (client < clients.size()) {
                xWindow = clients[client];
            } else {
                xWindow.pid = pid;
                xWindow.title = title;
            }
            d->x->nameApplication(xWindow, toolkit, appAccessibleName);
            std::optional<Point> origin = d->x->accessibleOrigin(xWindow, toolkit);
            // X11 gives global extents but for GTK 4, whose start at the window's corner.
            const bool local =
                !origin && client < clients.size() && d->extentsInWindow(app.get(), pid, query);
            if (local) {
                origin = xWindow.frame.origin;
            }
            LiveWindow window;
            window.handle = d->handleFor(child.get(), 0, pid);
            d->entries.at(window.handle).origin = origin;
            d->entries.at(window.handle).visibleShows = local;
            window.appID = xWindow.appID().value_or(QString());
            window.appName = d->x->appName(xWindow);
            window.title = title.isEmpty() ? xWindow.title : title;
            window.frame =
                origin ? xWindow.frame : query.extents(child.get()).value_or(xWindow.frame);
            window.active = states->has(ATSPI_STATE_ACTIVE) ||
                            (activeClient && activeClient->id == xWindow.id &&
                             (ownClients.size() == 1 || xWindow.title == title));
            found.append({window, client});
        }
        d->finish(query, pid);
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        if (a.first.active != b.first.active) {
            return a.first.active;
        }
        return a.second < b.second;
    });
    QList<LiveWindow> result;
    for (const auto& [window, rank] : found) {
        result.append(window);
    }
    return result;
}

QList<LiveElement> AtSpiDesktopActor::elements(const LiveWindow& window, const QString& role,
                                               int limit) {
    const Private::Entry* entry = d->entry(window.handle);
    if (!entry || entry->window != 0 || limit <= 0) {
        return {};
    }
    const AtspiRole wanted = role.isEmpty() ? ATSPI_ROLE_INVALID : roleNamed(role);
    if (!role.isEmpty() && wanted == ATSPI_ROLE_INVALID) {
        return {};
    }
    AtspiAccessible* root = entry->object.get();
    const qint64 pid = entry->pid;
    Query query = d->question(window.handle, d->options.walkTimeoutMs);
    QList<LiveElement> found;
    // The application's own search is one call where a walk is one per element.
    if (wanted != ATSPI_ROLE_INVALID && !entry->visibleShows &&
        query.interfaces(root).contains("Collection")) {
        if (auto matches = query.matches(root, wanted, {ATSPI_STATE_SHOWING}, limit)) {
            for (Accessible& match : *matches) {
                const std::optional<QString> path = query.path(match.get(), root);
                const std::optional<States> states = States::of(match.get(), query);
                if (query.stopped() || found.size() >= limit) {
                    break;
                }
                if (path && states) {
                    found.append(
                        d->read(match.get(), wanted, *states, *path, window.handle, pid, query));
                }
            }
            d->finish(query, pid);
            return found;
        }
    }
    int visited = 0;
    d->walk(root, QString(), 0, wanted, limit, window.handle, pid, query, found, visited);
    d->finish(query, pid);
    return found;
}

QStringList AtSpiDesktopActor::outline(const LiveWindow& window, int limit) {
    const Private::Entry* entry = d->entry(window.handle);
    if (!entry || entry->window != 0 || limit <= 0) {
        return {};
    }
    Query query(d->options.walkTimeoutMs);
    QStringList lines;
    int visited = 0;
    d->sketch(entry->object.get(), 0, limit, window.handle, query, lines, visited);
    d->finish(query, entry->pid);
    return lines;
}

std::optional<LiveElement> AtSpiDesktopActor::refresh(const LiveElement& element) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry || entry->window == 0) {
        return std::nullopt;
    }
    AtspiAccessible* object = entry->object.get();
    AtspiAccessible* window = d->windowObject(*entry);
    Query query = d->question(entry->window, d->options.timeoutMs);
    const std::optional<States> states = States::of(object, query);
    const std::optional<AtspiRole> role = query.role(object);
    std::optional<LiveElement> result;
    if (states && role && !states->has(ATSPI_STATE_DEFUNCT)) {
        const std::optional<QString> path = window ? query.path(object, window) : std::nullopt;
        result = d->read(object, *role, *states, path.value_or(element.path), entry->window,
                         entry->pid, query);
    }
    d->finish(query, entry->pid);
    return query.stopped() ? std::nullopt : result;
}

std::optional<LiveElement> AtSpiDesktopActor::parent(const LiveElement& element) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry || entry->window == 0) {
        return std::nullopt;
    }
    AtspiAccessible* window = d->windowObject(*entry);
    Query query = d->question(entry->window, d->options.timeoutMs);
    Accessible up = query.accessible(atspi_accessible_get_parent, entry->object.get());
    std::optional<LiveElement> result;
    if (up && up.get() != window) {
        const std::optional<States> states = States::of(up.get(), query);
        const std::optional<AtspiRole> role = query.role(up.get());
        const std::optional<QString> path = window ? query.path(up.get(), window) : std::nullopt;
        if (states && role && path && *role != ATSPI_ROLE_APPLICATION) {
            result = d->read(up.get(), *role, *states, *path, entry->window, entry->pid, query);
        }
    }
    d->finish(query, entry->pid);
    return query.stopped() ? std::nullopt : result;
}

bool AtSpiDesktopActor::reaches(const LiveElement& element, Point at) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry || entry->window == 0) {
        return false;
    }
    AtspiAccessible* target = entry->object.get();
    AtspiAccessible* window = d->windowObject(*entry);
    // Another application's window, or another window of this one, covers the point.
    const std::optional<ClientWindow> top = d->x->topmostAt(at);
    if (!window || !top || top->pid != entry->pid) {
        return false;
    }
    Query query = d->question(entry->window, d->options.timeoutMs);
    if (top->popup) {
        // The application's open menu is over everything there, and hit tests of its windows do
        // not reach into it: the item's own place decides.
        const std::optional<Rect> frame = query.extents(target);
        d->finish(query, entry->pid);
        return frame && contains(*frame, at);
    }
    if (d->popupElsewhere(window, at, query)) {
        d->finish(query, entry->pid);
        return false;
    }
    const std::optional<Rect> windowFrame = query.extents(window);
    constexpr double sameWindow = 64;
    if (!windowFrame || !contains(*windowFrame, at) ||
        (name(window, query) != top->title &&
         frameDistance(*windowFrame, top->frame) > sameWindow)) {
        d->finish(query, entry->pid);
        return false;
    }
    // GTK 4 answers a hit test only in its window's coordinates. Other toolkits keep the global
    // point: converting theirs too made a replay on GNOME press a Qt form's Save without effect,
    // for a reason not yet found.
    const auto windowEntry = d->entries.find(entry->window);
    const bool inWindow = windowEntry != d->entries.end() && windowEntry->second.visibleShows;
    bool reached = false;
    Accessible current = retain(window);
    for (int depth = 0; depth < maxWalkDepth && !reached && !query.stopped(); ++depth) {
        Accessible child =
            inWindow ? query.childAt(current.get(), at) : query.childAtOnScreen(current.get(), at);
        if (!child || child.get() == current.get()) {
            break;
        }
        reached = child.get() == target;
        current = std::move(child);
    }
    d->finish(query, entry->pid);
    return reached && !query.stopped();
}

bool AtSpiDesktopActor::performAction(const LiveElement& element, const QString& action) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return false;
    }
    AtspiAction* object = ATSPI_ACTION(entry->object.get());
    Query query(d->options.timeoutMs);
    const gint count =
        query.call([&](GError** e) { return atspi_action_get_n_actions(object, e); }).value_or(0);
    // An exact name first; toolkits differ only in case at most for the same action.
    gint exact = -1;
    gint loose = -1;
    for (gint i = 0; i < count && exact < 0; ++i) {
        const QString name = takeString(
            query.call([&](GError** e) { return atspi_action_get_action_name(object, i, e); })
                .value_or(nullptr));
        if (name == action) {
            exact = i;
        } else if (loose < 0 && name.compare(action, Qt::CaseInsensitive) == 0) {
            loose = i;
        }
    }
    const gint index = exact >= 0 ? exact : loose;
    bool done = false;
    if (index >= 0) {
        done = query.call([&](GError** e) { return atspi_action_do_action(object, index, e); })
                   .value_or(false);
    }
    d->finish(query, entry->pid);
    return done;
}

bool AtSpiDesktopActor::focus(const LiveElement& element) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return false;
    }
    Query query(d->options.timeoutMs);
    const bool done =
        query
            .call([&](GError** e) {
                return atspi_component_grab_focus(ATSPI_COMPONENT(entry->object.get()), e);
            })
            .value_or(false);
    d->finish(query, entry->pid);
    return done;
}

bool AtSpiDesktopActor::select(const LiveElement& element) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return false;
    }
    Query query(d->options.timeoutMs);
    bool done = false;
    Accessible parent = query.accessible(atspi_accessible_get_parent, entry->object.get());
    const gint index = query
                           .call([&](GError** e) {
                               return atspi_accessible_get_index_in_parent(entry->object.get(), e);
                           })
                           .value_or(-1);
    // A choice in a combo box's open list is made by a click: selecting it there only moves the
    // list's highlight, and the box keeps its choice.
    Accessible box = parent ? query.accessible(atspi_accessible_get_parent, parent.get()) : nullptr;
    const bool inComboList = (parent && query.role(parent.get()) == ATSPI_ROLE_COMBO_BOX) ||
                             (box && query.role(box.get()) == ATSPI_ROLE_COMBO_BOX);
    if (parent && index >= 0 && !inComboList &&
        query.interfaces(parent.get()).contains("Selection")) {
        done = query
                   .call([&](GError** e) {
                       return atspi_selection_select_child(ATSPI_SELECTION(parent.get()), index, e);
                   })
                   .value_or(false);
    }
    d->finish(query, entry->pid);
    return done;
}

bool AtSpiDesktopActor::insertText(const LiveElement& element, const QString& text) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return false;
    }
    AtspiAccessible* object = entry->object.get();
    Query query(d->options.timeoutMs);
    const QStringList interfaces = query.interfaces(object);
    bool done = false;
    if (interfaces.contains("EditableText")) {
        gint position = -1;
        if (interfaces.contains("Text")) {
            // Typed text replaces a selection (Ctrl+A before new text): so does this.
            const std::optional<Selection> selected = selection(object, query);
            if (selected && selected->second > selected->first &&
                query
                    .call([&](GError** e) {
                        return atspi_editable_text_delete_text(
                            ATSPI_EDITABLE_TEXT(object), selected->first, selected->second, e);
                    })
                    .value_or(false)) {
                position = selected->first;
            }
        }
        if (position < 0 && interfaces.contains("Text")) {
            position = query
                           .call([&](GError** e) {
                               return atspi_text_get_caret_offset(ATSPI_TEXT(object), e);
                           })
                           .value_or(-1);
            if (position < 0) {
                position = query
                               .call([&](GError** e) {
                                   return atspi_text_get_character_count(ATSPI_TEXT(object), e);
                               })
                               .value_or(-1);
            }
        }
        const QByteArray utf8 = text.toUtf8();
        // Qt's bridge cuts the text to `length` UTF-16 units; ATK's counts bytes.
        const gint length = toolkitCountsUtf16(d->toolkit(object, entry->pid, query))
                                ? gint(text.size())
                                : gint(utf8.size());
        if (position >= 0 && !query.stopped()) {
            done = query
                       .call([&](GError** e) {
                           return atspi_editable_text_insert_text(
                               ATSPI_EDITABLE_TEXT(object), position, utf8.constData(), length, e);
                       })
                       .value_or(false);
        }
    }
    d->finish(query, entry->pid);
    return done;
}

bool AtSpiDesktopActor::replaceText(const LiveElement& element, const QString& text) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return false;
    }
    AtspiAccessible* object = entry->object.get();
    Query query(d->options.timeoutMs);
    const QByteArray utf8 = text.toUtf8();
    bool done = false;
    if (query.interfaces(object).contains("EditableText")) {
        done = query
                   .call([&](GError** e) {
                       return atspi_editable_text_set_text_contents(ATSPI_EDITABLE_TEXT(object),
                                                                    utf8.constData(), e);
                   })
                   .value_or(false);
    }
    d->finish(query, entry->pid);
    return done;
}

std::optional<QString> AtSpiDesktopActor::text(const LiveElement& element) {
    const Private::Entry* entry = d->entry(element.handle);
    if (!entry) {
        return std::nullopt;
    }
    AtspiAccessible* object = entry->object.get();
    Query query(d->options.timeoutMs);
    std::optional<QString> result;
    // The role as it is now, not as the caller last saw it: a secure field is never read.
    const std::optional<AtspiRole> role = query.role(object);
    if (role && *role != ATSPI_ROLE_PASSWORD_TEXT && query.interfaces(object).contains("Text")) {
        const std::optional<gint> count = query.call(
            [&](GError** e) { return atspi_text_get_character_count(ATSPI_TEXT(object), e); });
        if (count && *count <= 0) {
            result = QString();
        } else if (count) {
            auto text = query.call([&](GError** e) {
                return atspi_text_get_text(ATSPI_TEXT(object), 0, std::min(*count, maxTextLength),
                                           e);
            });
            if (text) {
                result = takeString(*text);
            }
        }
    }
    d->finish(query, entry->pid);
    return query.stopped() ? std::nullopt : result;
}

bool AtSpiDesktopActor::activateWindow(const LiveWindow& window) {
    const Private::Entry* entry = d->entry(window.handle);
    if (!entry || entry->window != 0) {
        return false;
    }
    Query query(d->options.timeoutMs);
    const QString title = name(entry->object.get(), query);
    d->finish(query, entry->pid);
    std::optional<ClientWindow> target;
    for (const ClientWindow& client : d->x->clients()) {
        if (client.pid != entry->pid) {
            continue;
        }
        if (!target || client.title == title) {
            target = client;
        }
        if (client.title == title) {
            break;
        }
    }
    return target && d->x->activate(target->id, d->options.activationTimeoutMs);
}

} // namespace tavrik::atspi
