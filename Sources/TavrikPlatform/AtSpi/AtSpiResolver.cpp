// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikPlatform/AtSpi/AtSpiResolver.h"

#include "TavrikCore/Recorder/BrowserIdentity.h"
#include "TavrikCore/Recorder/SecureFieldScan.h"
#include "TavrikPlatform/AtSpi/ClientWindows.h"
#include "TavrikPlatform/AtSpi/QuietApplications.h"
#include "TavrikPlatform/AtSpi/ToolkitTraits.h"

#include <QElapsedTimer>
#include <QHash>
#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>

namespace tavrik::atspi {

namespace {

// Deepest hit-test descent; real trees are far shallower.
constexpr int maxDescent = 64;
// A field's text beyond this is not worth storing in a recording.
constexpr int maxValueLength = 2000;

// The accessibility tree as the bounded secure-field walk sees it.
struct AtSpiTree {
    struct Node {
        AtspiAccessible* object = nullptr;
    };
    Query& query;
    // Keeps every visited child alive for the duration of the walk.
    std::vector<Accessible> keep;

    bool isSecure(const Node& node) { return query.role(node.object) == ATSPI_ROLE_PASSWORD_TEXT; }
    std::optional<Rect> frame(const Node& node) { return query.extents(node.object); }
    std::optional<QList<Node>> children(const Node& node) {
        bool complete = false;
        std::vector<Accessible> kids = query.children(node.object, &complete);
        if (query.stopped()) {
            return std::nullopt;
        }
        QList<Node> nodes;
        for (Accessible& kid : kids) {
            nodes.append(Node{kid.get()});
            keep.push_back(std::move(kid));
        }
        return nodes;
    }
};

} // namespace

struct AtSpiResolver::Private {
    Options options;
    std::unique_ptr<WindowDirectory> windows;
    bool onX11 = false;
    bool atspiReady = false;
    // Each application's toolkit and name, which decide its identity and where its coordinates
    // start where the window system does not make them global.
    QHash<qint64, std::pair<QString, QString>> toolkits;
    // Applications by process id, refreshed from the desktop's children when one is missing.
    std::map<qint64, Accessible> applications;
    QuietApplications quiet;
    // The last secure fields seen per window, kept for when its application stops answering.
    QHash<unsigned long, QList<Rect>> lastSecureRects;
    // The element last found focused per window. Typing asks for the focus at every key; checking
    // this one first is a single call, where a search of a big window may run out of time. Its
    // place under the window is kept too: walking its ancestors at every key costs a call a level.
    struct Focus {
        Accessible element;
        std::optional<QString> path;
    };
    std::map<unsigned long, Focus> lastFocused;
    // What the resting pointer was last over, and in which window.
    struct Hover {
        Point at;
        unsigned long window = 0;
        std::optional<qint64> pid;
        AXTarget target;
    };
    std::optional<Hover> hover;
    // The combo box last found at a point, with its window: its open list comes up in a pop-up
    // that the application does not list among its windows, while its choices hang below the box.
    struct Combo {
        Accessible box;
        Accessible windowObject;
        ClientWindow window;
    };
    std::optional<Combo> combo;

    bool stillFocused(AtspiAccessible* element, Query& query) {
        auto set = query.call([&](GError**) { return atspi_accessible_get_state_set(element); });
        if (!set || !*set) {
            return false;
        }
        Ref<AtspiStateSet> states(*set);
        return atspi_state_set_contains(*set, ATSPI_STATE_FOCUSED);
    }

    bool isQuiet(qint64 pid) { return quiet.contains(pid); }

    // `found` says whether the application showed the window asked about; when it answered but
    // did not, its cached entry may be a process that has gone, so it is looked up afresh next
    // time.
    void finish(const Query& query, qint64 pid, bool found) {
        quiet.questionEnded(pid, query.unresponsive());
        if (!query.unresponsive() && !found && !query.stopped()) {
            applications.erase(pid);
        }
    }

    // Whether the application's toolkit reports extents relative to its windows on X11 (GTK 4),
    // by process: asked once.
    QHash<qint64, bool> localExtents;
    // GTK 4 marks only its windows showing: inside them a visible element with a place on screen
    // counts as showing. Its names are joined to their labels too. Set for the window being read.
    bool visibleShows = false;

    // Names `window` as its application is named on X11 and makes the query's extents global.
    void place(AtspiAccessible* app, ClientWindow& window, Query& query) {
        // X gives windows their identity and, but for GTK 4, global coordinates.
        visibleShows = false;
        if (onX11) {
            auto known = localExtents.constFind(*window.pid);
            if (known == localExtents.constEnd()) {
                const QString toolkit = query.toolkitName(app).value_or(QString());
                const QString version =
                    takeString(query
                                   .call([&](GError** e) {
                                       return atspi_accessible_get_toolkit_version(app, e);
                                   })
                                   .value_or(nullptr));
                if (query.stopped()) {
                    return;
                }
                known = localExtents.insert(*window.pid,
                                            ToolkitTraits::extentsInWindow(toolkit, version));
            }
            if (*known) {
                query.setOrigin(window.frame.origin, ATSPI_COORD_TYPE_WINDOW);
                visibleShows = true;
            }
            return;
        }
        std::pair<QString, QString> named;
        if (auto known = toolkits.constFind(*window.pid); known != toolkits.constEnd()) {
            named = *known;
        } else {
            const std::optional<QString> toolkit = query.toolkitName(app);
            const QString name =
                takeString(query.call([&](GError** e) { return atspi_accessible_get_name(app, e); })
                               .value_or(nullptr));
            if (query.stopped()) {
                return;
            }
            named = {toolkit.value_or(QString()), name};
            // Without a toolkit it is asked again next time, not taken for another toolkit.
            if (toolkit) {
                toolkits.insert(*window.pid, named);
            }
        }
        windows->nameApplication(window, named.first, named.second);
        query.setOrigin(windows->accessibleOrigin(window, named.first));
    }

    AtspiAccessible* application(qint64 pid, Query& query) {
        if (auto it = applications.find(pid); it != applications.end()) {
            return it->second.get();
        }
        // The registry and the bus answer here, not the applications.
        Query& registry = query;
        Accessible desktop(atspi_get_desktop(0));
        if (!desktop) {
            return nullptr;
        }
        applications.clear();
        for (Accessible& app : registry.children(desktop.get())) {
            auto appPid = registry.call(
                [&](GError** e) { return atspi_accessible_get_process_id(app.get(), e); });
            if (appPid && *appPid > 0) {
                applications[*appPid] = std::move(app);
            }
        }
        auto it = applications.find(pid);
        return it == applications.end() ? nullptr : it->second.get();
    }

    // The application's top-level window that is showing `window`; for a point, one containing it.
    Accessible windowAccessible(AtspiAccessible* app, const ClientWindow& window, Query& query,
                                std::optional<Point> point) {
        std::vector<Accessible> candidates;
        // Where each candidate is, when a point was given.
        std::vector<Rect> frames;
        for (Accessible& child : query.children(app)) {
            if (!query.hasStates(child.get(), {ATSPI_STATE_SHOWING})) {
                continue;
            }
            if (point) {
                auto frame = query.extents(child.get());
                if (!frame || !contains(*frame, *point)) {
                    continue;
                }
                frames.push_back(*frame);
            }
            candidates.push_back(std::move(child));
        }
        if (candidates.empty()) {
            return nullptr;
        }
        if (point) {
            // Several windows of the application may hold the point (a message box over its main
            // window): the one X shows on top there has the frame of `window`. Accessible names
            // need not be the X title, so the frame decides.
            size_t best = 0;
            for (size_t i = 1; i < candidates.size(); ++i) {
                if (frameDistance(frames[i], window.frame) <
                    frameDistance(frames[best], window.frame)) {
                    best = i;
                }
            }
            // None is the window X shows there (the application has not listed its new dialog
            // yet): an element of the window under it would be the wrong one.
            constexpr double sameWindow = 64;
            // Client-side decorations (GTK's shadow, Qt's own title bar on GNOME) set a Wayland
            // window's accessible frame apart from the compositor's; its title still names it.
            if (frameDistance(frames[best], window.frame) > sameWindow &&
                takeString(query
                               .call([&](GError** e) {
                                   return atspi_accessible_get_name(candidates[best].get(), e);
                               })
                               .value_or(nullptr)) != window.title) {
                return nullptr;
            }
            return std::move(candidates[best]);
        }
        if (candidates.size() > 1) {
            for (Accessible& c : candidates) {
                const QString name = takeString(
                    query.call([&](GError** e) { return atspi_accessible_get_name(c.get(), e); })
                        .value_or(nullptr));
                if (name == window.title) {
                    return std::move(c);
                }
            }
            if (!point) {
                for (Accessible& c : candidates) {
                    if (query.hasStates(c.get(), {ATSPI_STATE_ACTIVE})) {
                        return std::move(c);
                    }
                }
            }
        }
        return std::move(candidates.front());
    }

    // The menu item at the point in an open menu. Its pop-up window is not among the
    // application's windows: the items hang below the menu bar of the window that opened it,
    // which is returned in `owner`.
    Accessible openMenuItemAt(AtspiAccessible* app, Point at, Query& query, Accessible& owner) {
        constexpr int maxItems = 200;
        constexpr AtspiRole itemRoles[] = {ATSPI_ROLE_MENU_ITEM, ATSPI_ROLE_CHECK_MENU_ITEM,
                                           ATSPI_ROLE_RADIO_MENU_ITEM, ATSPI_ROLE_MENU};
        Accessible best;
        double bestArea = 0;
        for (Accessible& top : query.children(app)) {
            if (!query.hasStates(top.get(), {ATSPI_STATE_SHOWING})) {
                continue;
            }
            std::vector<Accessible> items;
            if (query.interfaces(top.get()).contains("Collection")) {
                for (const AtspiRole role : itemRoles) {
                    if (auto matched =
                            query.matches(top.get(), role, {ATSPI_STATE_SHOWING}, maxItems)) {
                        std::move(matched->begin(), matched->end(), std::back_inserter(items));
                    }
                }
            } else {
                // Qt offers no Collection: its open menus are found from the menu bar down.
                for (Accessible& child : query.children(top.get())) {
                    if (query.role(child.get()) == ATSPI_ROLE_MENU_BAR) {
                        openMenuItemsBelow(child.get(), 0, query, items);
                    }
                }
            }
            for (Accessible& item : items) {
                const std::optional<Rect> frame = query.extents(item.get());
                if (!frame || !contains(*frame, at)) {
                    continue;
                }
                // A submenu's opener holds its items' place too: the smallest is the item.
                const double area = frame->size.width * frame->size.height;
                if (!best || area < bestArea) {
                    best = std::move(item);
                    bestArea = area;
                    owner = retain(top.get());
                }
            }
        }
        return best;
    }

    // The showing items of the open menus below `menu`. A closed menu's items are not showing,
    // so only the open path is walked.
    void openMenuItemsBelow(AtspiAccessible* menu, int depth, Query& query,
                            std::vector<Accessible>& found) {
        constexpr int maxDepth = 12;
        if (depth >= maxDepth) {
            return;
        }
        for (Accessible& child : query.children(menu)) {
            if (query.stopped()) {
                return;
            }
            if (!query.hasStates(child.get(), {ATSPI_STATE_SHOWING})) {
                continue;
            }
            switch (query.role(child.get()).value_or(ATSPI_ROLE_INVALID)) {
            case ATSPI_ROLE_MENU:
            case ATSPI_ROLE_POPUP_MENU:
                openMenuItemsBelow(child.get(), depth + 1, query, found);
                break;
            case ATSPI_ROLE_MENU_ITEM:
            case ATSPI_ROLE_CHECK_MENU_ITEM:
            case ATSPI_ROLE_RADIO_MENU_ITEM:
                openMenuItemsBelow(child.get(), depth + 1, query, found);
                found.push_back(std::move(child));
                break;
            default:
                break;
            }
        }
    }

    // A showing child of a container whose frame holds the point, among its first children only:
    // rows of a long list beyond them are not worth the calls.
    Accessible childHolding(AtspiAccessible* container, Point at, Query& query) {
        constexpr int maxChildren = 200;
        auto count =
            query.call([&](GError** e) { return atspi_accessible_get_child_count(container, e); });
        if (!count || *count <= 0 || *count > maxChildren) {
            return nullptr;
        }
        for (Accessible& child : query.children(container)) {
            if (!query.hasStates(child.get(),
                                 {visibleShows ? ATSPI_STATE_VISIBLE : ATSPI_STATE_SHOWING})) {
                continue;
            }
            // Extents come back only when not empty.
            auto frame = query.extents(child.get());
            if (frame && contains(*frame, at)) {
                return std::move(child);
            }
        }
        return nullptr;
    }

    // The choice at the point in the open list of the combo box last seen in the same
    // application: its list, then the list's item holding the point.
    Accessible comboChoiceAt(const ClientWindow& popup, Point at, Query& query) {
        constexpr int maxLevels = 3;
        if (!combo || combo->window.pid != popup.pid ||
            !query.hasStates(combo->box.get(), {ATSPI_STATE_SHOWING})) {
            return nullptr;
        }
        Accessible current = retain(combo->box.get());
        for (int i = 0; i < maxLevels && !query.stopped(); ++i) {
            Accessible child = childHolding(current.get(), at, query);
            if (!child) {
                break;
            }
            switch (query.role(child.get()).value_or(ATSPI_ROLE_INVALID)) {
            case ATSPI_ROLE_LIST_ITEM:
            case ATSPI_ROLE_MENU_ITEM:
            case ATSPI_ROLE_TABLE_CELL:
                return child;
            default:
                current = std::move(child);
            }
        }
        return nullptr;
    }

    // A click on the text a control shows is a click on the control: pages expose a button's
    // text as a child of its own, which the hit test can land on, and text alone says little
    // about what was pressed.
    Accessible controlAround(Accessible element, AtspiAccessible* window, Query& query) {
        constexpr int maxLevels = 2;
        const std::optional<AtspiRole> role = query.role(element.get());
        const bool textOnly =
            role &&
            (*role == ATSPI_ROLE_STATIC || *role == ATSPI_ROLE_LABEL ||
             (*role == ATSPI_ROLE_TEXT && !query.hasStates(element.get(), {ATSPI_STATE_EDITABLE})));
        if (!textOnly) {
            return element;
        }
        Accessible current = retain(element.get());
        for (int i = 0; i < maxLevels && !query.stopped(); ++i) {
            Accessible up = query.accessible(atspi_accessible_get_parent, current.get());
            if (!up || up.get() == window) {
                break;
            }
            switch (query.role(up.get()).value_or(ATSPI_ROLE_INVALID)) {
            case ATSPI_ROLE_PUSH_BUTTON:
            case ATSPI_ROLE_TOGGLE_BUTTON:
            case ATSPI_ROLE_CHECK_BOX:
            case ATSPI_ROLE_RADIO_BUTTON:
            case ATSPI_ROLE_LINK:
            case ATSPI_ROLE_MENU_ITEM:
                return up;
            default:
                current = std::move(up);
            }
        }
        return element;
    }

    // The deepest element under the global point `at`, from `element` down.
    Accessible deepestAt(Accessible element, Point at, Query& query) {
        for (int i = 0; i < maxDescent && !query.stopped(); ++i) {
            Accessible child = query.childAt(element.get(), at);
            if (!child || child.get() == element.get()) {
                // Some toolkits' hit test stops at a container (a Qt list above its rows): one
                // of its showing children may still hold the point.
                child = childHolding(element.get(), at, query);
                if (!child) {
                    break;
                }
            }
            element = std::move(child);
        }
        return element;
    }

    AXTarget windowOnlyTarget(const ClientWindow& window) {
        AXTarget target;
        target.appBundleID = window.appID();
        target.appName = nonEmpty(windows->appName(window));
        target.windowTitle = nonEmpty(window.title);
        // X knows the frame when the application did not answer in time (a loaded machine): a
        // pointer step keeps its place in the window and stays replayable.
        target.windowFrame = window.frame;
        return target;
    }

    // What stands in for an element of an accessible application that could not be read in time.
    // A slow application must not make a password look like ordinary typing: the focus counts as
    // secure unless the window's last complete scan found no secure field. A point counts as
    // secure inside a secure field seen last.
    AXTarget unreadFocus(const ClientWindow& window) {
        AXTarget target = windowOnlyTarget(window);
        const auto known = lastSecureRects.constFind(window.id);
        target.isSecure = known == lastSecureRects.cend() || !known->isEmpty();
        return target;
    }

    AXTarget unreadElementAt(const ClientWindow& window, Point at) {
        AXTarget target = windowOnlyTarget(window);
        const QList<Rect> known = lastSecureRects.value(window.id);
        target.isSecure = std::any_of(known.cbegin(), known.cend(),
                                      [&](const Rect& r) { return contains(r, at); });
        return target;
    }

    // `knownPath` saves the ancestor walk when the element's place is already known.
    AXTarget makeTarget(AtspiAccessible* element, AtspiAccessible* windowObject,
                        const ClientWindow& window, Query& query,
                        std::optional<QString> knownPath = std::nullopt) {
        AXTarget target = windowOnlyTarget(window);
        if (auto role = query.role(element)) {
            target.isSecure = *role == ATSPI_ROLE_PASSWORD_TEXT;
            target.axRole = takeString(atspi_role_get_name(*role));
        }
        target.axTitle = nonEmpty(query.shownName(element, visibleShows));
        target.axIdentifier = nonEmpty(takeString(
            query.call([&](GError** e) { return atspi_accessible_get_accessible_id(element, e); })
                .value_or(nullptr)));
        const QStringList interfaces = query.interfaces(element);
        // A password field's text is never read, not even masked: its length alone says too much.
        if (!target.isSecure) {
            target.axValue = query.value(element, interfaces, maxValueLength);
        }
        target.axDescription = nonEmpty(takeString(
            query.call([&](GError** e) { return atspi_accessible_get_description(element, e); })
                .value_or(nullptr)));
        std::optional<Rect> windowFrame = windowObject ? query.extents(windowObject) : std::nullopt;
        target.windowFrame = windowFrame.value_or(window.frame);
        if (auto frame = query.extents(element)) {
            const Rect& origin = *target.windowFrame;
            target.frameInWindow =
                Rect(frame->origin.x - origin.origin.x, frame->origin.y - origin.origin.y,
                     frame->size.width, frame->size.height);
        }
        if (windowObject) {
            target.axPath = knownPath ? knownPath : query.path(element, windowObject);
        }
        if (target.appBundleID && BrowserIdentity::isBrowser(*target.appBundleID)) {
            target.url = pageAddress(element, windowObject, query);
        }
        return target;
    }

    std::optional<QString> pageAddress(AtspiAccessible* element, AtspiAccessible* windowObject,
                                       Query& query) {
        Accessible document;
        Accessible current = retain(element);
        for (int i = 0; current && i < maxAncestors && !query.stopped(); ++i) {
            if (query.role(current.get()) == ATSPI_ROLE_DOCUMENT_WEB) {
                document = std::move(current);
                break;
            }
            current = query.accessible(atspi_accessible_get_parent, current.get());
        }
        // Outside the page (the address bar, a tab): the page showing in the window.
        if (!document && windowObject) {
            auto found =
                query.matches(windowObject, ATSPI_ROLE_DOCUMENT_WEB, {ATSPI_STATE_SHOWING}, 1);
            if (found && !found->empty()) {
                document = std::move(found->front());
            }
        }
        if (!document) {
            return std::nullopt;
        }
        auto table = query.call([&](GError** e) {
            return atspi_document_get_document_attributes(ATSPI_DOCUMENT(document.get()), e);
        });
        if (!table || !*table) {
            return std::nullopt;
        }
        QMap<QString, QString> attributes;
        GHashTableIter iter;
        gpointer key = nullptr;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iter, *table);
        while (g_hash_table_iter_next(&iter, &key, &value)) {
            attributes.insert(QString::fromUtf8(static_cast<const char*>(key)),
                              QString::fromUtf8(static_cast<const char*>(value)));
        }
        g_hash_table_unref(*table);
        return BrowserIdentity::pageAddress(attributes);
    }

    // Depth-first search for the focused element where the application offers no Collection.
    Accessible findFocused(AtspiAccessible* root, Query& query) {
        int visited = 0;
        std::function<Accessible(AtspiAccessible*, int)> visit = [&](AtspiAccessible* node,
                                                                     int depth) -> Accessible {
            if (visited >= maxSecureScanElements || depth > maxSecureScanDepth || query.stopped()) {
                return nullptr;
            }
            ++visited;
            auto set = query.call([&](GError**) { return atspi_accessible_get_state_set(node); });
            if (!set || !*set) {
                return nullptr;
            }
            Ref<AtspiStateSet> states(*set);
            if (atspi_state_set_contains(*set, ATSPI_STATE_FOCUSED)) {
                return retain(node);
            }
            if (!atspi_state_set_contains(*set, visibleShows ? ATSPI_STATE_VISIBLE
                                                             : ATSPI_STATE_SHOWING)) {
                return nullptr;
            }
            for (Accessible& child : query.children(node)) {
                if (Accessible found = visit(child.get(), depth + 1)) {
                    return found;
                }
            }
            return nullptr;
        };
        return visit(root, 0);
    }
};

AtSpiResolver::AtSpiResolver() : AtSpiResolver(Options{}) {}

AtSpiResolver::AtSpiResolver(Options options)
    : AtSpiResolver(std::make_unique<ClientWindows>(), options) {
    d->onX11 = true;
}

AtSpiResolver::AtSpiResolver(std::unique_ptr<WindowDirectory> windows, Options options)
    : d(std::make_unique<Private>()) {
    d->options = options;
    d->quiet.setCooldown(options.cooldownMs);
    d->windows = std::move(windows);
    if (d->windows->isOpen()) {
        const int status = atspi_init();
        d->atspiReady = status == 0 || status == 1;
        // No grace period for starting applications: a hang at start-up must not stall us either.
        atspi_set_timeout(options.timeoutMs, 0);
    }
}

AtSpiResolver::~AtSpiResolver() = default;

bool AtSpiResolver::isAvailable() const {
    return d->windows->isOpen() && d->atspiReady;
}

bool AtSpiResolver::hover(Point at) {
    constexpr int hoverBudgets = 3;
    d->hover.reset();
    std::optional<ClientWindow> window = d->windows->topmostAt(at);
    if (!window) {
        return true;
    }
    const unsigned long id = window->id;
    const std::optional<qint64> pid = window->pid;
    std::optional<AXTarget> target =
        read(at, std::move(window), hoverBudgets * d->options.timeoutMs);
    if (target && target->axRole) {
        d->hover = Private::Hover{at, id, pid, std::move(*target)};
        return true;
    }
    // Only the window came back: its application did not answer in time.
    return !target;
}

std::optional<AXTarget> AtSpiResolver::target(Point at) {
    std::optional<ClientWindow> window = d->windows->topmostAt(at);
    // A different window here than under the resting pointer: either one came up on top (the
    // fresh read is right) or the hovered one closed since, at this very press (it is gone).
    constexpr double samePoint = 3;
    const bool restedHere = d->hover && std::abs(d->hover->at.x - at.x) <= samePoint &&
                            std::abs(d->hover->at.y - at.y) <= samePoint;
    if (restedHere && (!window || window->id != d->hover->window)) {
        const QList<ClientWindow> mapped = d->windows->clients();
        const bool gone = std::none_of(mapped.cbegin(), mapped.cend(), [&](const ClientWindow& w) {
            return w.id == d->hover->window;
        });
        if (gone) {
            return d->hover->target;
        }
    }
    const bool sameWindow = restedHere && window && window->id == d->hover->window;
    const bool popup = window && window->popup && !sameWindow;
    const std::optional<qint64> pid = window ? window->pid : std::nullopt;
    std::optional<AXTarget> fresh = read(at, std::move(window), d->options.timeoutMs);
    // The window still listed but closing during this read, or too busy with the press to answer:
    // no element there (at most the window itself), and what the pointer rested on is what was
    // pressed.
    const bool bare = !fresh || !fresh->axRole || fresh->axPath == QString();
    if (sameWindow && bare) {
        return d->hover->target;
    }
    // A combo box opens its list at the press, in a pop-up of its own with the current choice
    // where the pointer is, and Qt lists the choices below the box: the box was pressed, not the
    // pop-up or that choice.
    const bool openedList = restedHere && d->hover->target.axRole == QStringLiteral("combo box") &&
                            fresh &&
                            ((popup && pid == d->hover->pid) ||
                             (d->hover->target.axPath && fresh->axPath &&
                              fresh->axPath->startsWith(*d->hover->target.axPath + u'/')));
    return openedList ? d->hover->target : fresh;
}

std::optional<AXTarget> AtSpiResolver::read(Point at, std::optional<ClientWindow> window,
                                            int budgetMs) {
    if (!window) {
        return std::nullopt;
    }
    if (!d->atspiReady || !window->pid) {
        return d->windowOnlyTarget(*window);
    }
    if (d->isQuiet(*window->pid)) {
        return d->unreadElementAt(*window, at);
    }
    Query query(budgetMs);
    AXTarget result = d->windowOnlyTarget(*window);
    bool found = false;
    if (AtspiAccessible* app = d->application(*window->pid, query)) {
        d->place(app, *window, query);
        result = d->windowOnlyTarget(*window);
        Accessible windowObject = d->windowAccessible(app, *window, query, at);
        Accessible menuItem;
        Accessible choice;
        if (!windowObject && window->popup) {
            menuItem = d->openMenuItemAt(app, at, query, windowObject);
            if (!menuItem) {
                choice = d->comboChoiceAt(*window, at, query);
            }
        }
        found = windowObject != nullptr || choice != nullptr;
        if (choice) {
            // Recorded below its box in the box's window, where replay opens the list and finds it.
            result =
                d->makeTarget(choice.get(), d->combo->windowObject.get(), d->combo->window, query);
        } else if (menuItem) {
            // Recorded in the window whose menu it is, where replay finds it.
            const QString owner =
                takeString(query
                               .call([&](GError** e) {
                                   return atspi_accessible_get_name(windowObject.get(), e);
                               })
                               .value_or(nullptr));
            for (const ClientWindow& client : d->windows->clients()) {
                if (client.pid == window->pid && client.title == owner) {
                    window = client;
                    break;
                }
            }
            result = d->makeTarget(menuItem.get(), windowObject.get(), *window, query);
        } else if (windowObject) {
            Accessible element = d->deepestAt(retain(windowObject.get()), at, query);
            element = d->controlAround(std::move(element), windowObject.get(), query);
            if (!query.stopped()) {
                result = d->makeTarget(element.get(), windowObject.get(), *window, query);
                if (result.axRole == QStringLiteral("combo box")) {
                    d->combo =
                        Private::Combo{retain(element.get()), retain(windowObject.get()), *window};
                }
            }
        }
    }
    d->finish(query, *window->pid, found);
    // A half-read element is worse than none: after a timeout keep only what X told us.
    return query.stopped() ? d->unreadElementAt(*window, at) : result;
}

std::optional<AXTarget> AtSpiResolver::describe(AtspiAccessible* element, std::optional<Point> at) {
    if (!d->atspiReady || !element) {
        return std::nullopt;
    }
    // The input it describes keeps its own time, and waits for nothing else: a loaded
    // application is given a few budgets, as for a resting pointer.
    constexpr int describeBudgets = 3;
    Query query(describeBudgets * d->options.timeoutMs);
    const std::optional<qint64> pid =
        query.call([&](GError** e) { return atspi_accessible_get_process_id(element, e); });
    if (!pid || d->isQuiet(*pid)) {
        return std::nullopt;
    }
    // The top-level window holding it, just below its application.
    Accessible windowObject = retain(element);
    Accessible app;
    for (int i = 0; i < maxAncestors && !query.stopped(); ++i) {
        Accessible up = query.accessible(atspi_accessible_get_parent, windowObject.get());
        if (!up) {
            break;
        }
        if (query.role(up.get()) == ATSPI_ROLE_APPLICATION) {
            app = std::move(up);
            break;
        }
        windowObject = std::move(up);
    }
    if (!app) {
        return std::nullopt;
    }
    const QString title = takeString(
        query.call([&](GError** e) { return atspi_accessible_get_name(windowObject.get(), e); })
            .value_or(nullptr));
    std::optional<ClientWindow> window;
    for (const ClientWindow& candidate : d->windows->clients()) {
        if (candidate.pid == pid && (!window || candidate.title == title)) {
            window = candidate;
        }
    }
    if (!window) {
        return std::nullopt;
    }
    d->place(app.get(), *window, query);
    // What a read at the point would find, found from the element down: its text is no target.
    if (!at) {
        if (const std::optional<Rect> frame = query.extents(element)) {
            at = Point{frame->origin.x + frame->size.width / 2,
                       frame->origin.y + frame->size.height / 2};
        }
    }
    Accessible pressed = at ? d->deepestAt(retain(element), *at, query) : retain(element);
    pressed = d->controlAround(std::move(pressed), windowObject.get(), query);
    AXTarget result;
    if (!query.stopped()) {
        result = d->makeTarget(pressed.get(), windowObject.get(), *window, query);
    }
    d->finish(query, *pid, true);
    return query.stopped() ? d->windowOnlyTarget(*window) : result;
}

std::optional<AXTarget> AtSpiResolver::focusedTarget() {
    std::optional<ClientWindow> window = d->windows->active();
    if (!window) {
        return std::nullopt;
    }
    if (!d->atspiReady || !window->pid) {
        return d->windowOnlyTarget(*window);
    }
    if (d->isQuiet(*window->pid)) {
        return d->unreadFocus(*window);
    }
    Query query(d->options.timeoutMs);
    AXTarget result = d->windowOnlyTarget(*window);
    bool found = false;
    if (AtspiAccessible* app = d->application(*window->pid, query)) {
        d->place(app, *window, query);
        result = d->windowOnlyTarget(*window);
        Accessible windowObject = d->windowAccessible(app, *window, query, std::nullopt);
        found = windowObject != nullptr;
        if (windowObject) {
            Accessible focused;
            std::optional<QString> knownPath;
            const auto known = d->lastFocused.find(window->id);
            // Where the application can search itself the focus is asked as it is now: a page
            // left behind keeps reporting focus after the address bar took it. Only a walk (Qt)
            // is costly enough to try the last one first.
            const bool searchable = query.interfaces(windowObject.get()).contains("Collection");
            if (searchable) {
                auto found =
                    query.matches(windowObject.get(), ATSPI_ROLE_INVALID, {ATSPI_STATE_FOCUSED}, 8);
                if (found && !found->empty()) {
                    auto real = std::find_if(found->begin(), found->end(), [&](Accessible& a) {
                        const auto role = query.role(a.get());
                        return role != ATSPI_ROLE_DOCUMENT_WEB && role != ATSPI_ROLE_DOCUMENT_FRAME;
                    });
                    focused = std::move(real != found->end() ? *real : found->front());
                }
            } else if (known != d->lastFocused.end() &&
                       d->stillFocused(known->second.element.get(), query)) {
                focused = retain(known->second.element.get());
                knownPath = known->second.path;
            } else {
                focused = d->findFocused(windowObject.get(), query);
            }
            AtspiAccessible* element = focused ? focused.get() : windowObject.get();
            if (!query.stopped()) {
                result = d->makeTarget(element, windowObject.get(), *window, query, knownPath);
            }
            if (focused && !query.stopped()) {
                if (d->lastFocused.size() > 64) {
                    d->lastFocused.clear(); // windows long closed
                }
                d->lastFocused[window->id] = Private::Focus{retain(focused.get()), result.axPath};
            }
        }
    }
    d->finish(query, *window->pid, found);
    return query.stopped() ? d->unreadFocus(*window) : result;
}

QList<Rect> AtSpiResolver::secureFieldRects() {
    std::optional<ClientWindow> window = d->windows->active();
    if (!window) {
        return {};
    }
    if (!d->atspiReady || !window->pid || d->isQuiet(*window->pid)) {
        return d->lastSecureRects.value(window->id);
    }
    Query query(d->options.timeoutMs);
    QList<Rect> rects;
    bool complete = false;
    bool found = false;
    if (AtspiAccessible* app = d->application(*window->pid, query)) {
        d->place(app, *window, query);
        Accessible windowObject = d->windowAccessible(app, *window, query, std::nullopt);
        found = windowObject != nullptr;
        if (windowObject) {
            if (query.interfaces(windowObject.get()).contains("Collection")) {
                auto found = query.matches(windowObject.get(), ATSPI_ROLE_PASSWORD_TEXT,
                                           {ATSPI_STATE_SHOWING}, maxSecureScanElements);
                if (found) {
                    for (Accessible& field : *found) {
                        if (auto frame = query.extents(field.get())) {
                            rects.append(*frame);
                        }
                    }
                    complete = !query.stopped();
                }
            } else {
                AtSpiTree tree{query, {}};
                SecureFieldScan<AtSpiTree> scan(tree);
                rects = scan.run(AtSpiTree::Node{windowObject.get()});
                complete = !scan.aborted() && !query.stopped();
            }
        } else {
            complete = !query.stopped();
        }
    }
    d->finish(query, *window->pid, found);
    if (!complete) {
        // What was seen before is a better guess than nothing for a window that stopped answering.
        QList<Rect> known = d->lastSecureRects.value(window->id);
        for (const Rect& r : rects) {
            if (!known.contains(r)) {
                known.append(r);
            }
        }
        return known;
    }
    d->lastSecureRects.insert(window->id, rects);
    return rects;
}

std::optional<FrontmostApplication> AtSpiResolver::frontmostApplication() {
    std::optional<ClientWindow> window = d->windows->active();
    if (!window) {
        return std::nullopt;
    }
    FrontmostApplication app;
    app.bundleID = window->appID();
    app.appName = nonEmpty(d->windows->appName(*window));
    app.windowTitle = nonEmpty(window->title);
    app.pid = window->pid;
    return app;
}

} // namespace tavrik::atspi
