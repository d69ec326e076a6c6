#include "TavrikCore/Replay/ReplayEngine.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Replay/ParameterFill.h"

#include <QRegularExpression>
#include <algorithm>
#include <cmath>

namespace tavrik {

struct ReplayEngine::Located {
    enum class Kind { element, window, none, failed };
    Kind kind = Kind::none;
    std::optional<LiveElement> element;
    std::optional<LiveWindow> window;
    TargetMatcher::Match::Kind match = TargetMatcher::Match::Kind::missing;
    QString problem;
};

namespace {

QString quoted(const QString& text) {
    return QStringLiteral("“") + text + QStringLiteral("”");
}

// How a target is named in lines: its name, else its description, else its role.
QString targetLabel(const AXTarget& target) {
    QString label;
    if (target.axTitle && !target.axTitle->isEmpty())
        label = quoted(*target.axTitle);
    else if (target.axDescription && !target.axDescription->isEmpty())
        label = quoted(*target.axDescription);
    else if (target.axRole && !target.axRole->isEmpty())
        label = QStringLiteral("the ") + *target.axRole;
    else
        label = QStringLiteral("the window");
    if (target.appName && !target.appName->isEmpty())
        label += QStringLiteral(" in ") + *target.appName;
    else if (target.appBundleID && !target.appBundleID->isEmpty())
        label += QStringLiteral(" in ") + *target.appBundleID;
    return label;
}

QString appLabel(const AXTarget& target) {
    if (target.appName && !target.appName->isEmpty())
        return *target.appName;
    return target.appBundleID.value_or(QStringLiteral("The application"));
}

QString toolName(const PlanStep& step, bool typesText) {
    switch (step.action) {
    case ActionType::click:
        return QStringLiteral("click");
    case ActionType::rightClick:
        return QStringLiteral("right_click");
    case ActionType::doubleClick:
        return QStringLiteral("double_click");
    case ActionType::drag:
        return QStringLiteral("drag");
    case ActionType::scroll:
        return QStringLiteral("scroll");
    case ActionType::keystroke:
        return typesText ? QStringLiteral("type") : QStringLiteral("press");
    case ActionType::appSwitch:
    case ActionType::windowFocus:
        return QStringLiteral("switch");
    case ActionType::wait:
        return QStringLiteral("wait");
    }
    return QStringLiteral("step");
}

QString stepName(const PlanStep& step) {
    QString name = QStringLiteral("Step ") + QString::number(step.index + 1);
    if (!step.intent.isEmpty())
        name += QStringLiteral(" (") + step.intent + u')';
    return name;
}

// The recorded target as this run expects to see it: names and values that showed an example
// value show the run's value.
AXTarget expectedTarget(const AXTarget& recorded, const Skill& skill,
                        const QMap<QString, QString>& values) {
    AXTarget expected = recorded;
    if (expected.axTitle)
        expected.axTitle = ParameterFill::fill(*expected.axTitle, skill.parameters, values);
    if (expected.axValue)
        expected.axValue = ParameterFill::fill(*expected.axValue, skill.parameters, values);
    return expected;
}

bool hasRole(const AXTarget& target) {
    return target.axRole && !target.axRole->isEmpty();
}

// The hit test found nothing below the window: the step happened somewhere in it.
bool isWindowItself(const AXTarget& target) {
    return target.axPath && target.axPath->isEmpty();
}

std::optional<QString> namedAction(const LiveElement& element,
                                   std::initializer_list<const char*> names) {
    for (const char* wanted : names)
        for (const QString& action : element.actions)
            if (action.compare(QLatin1String(wanted), Qt::CaseInsensitive) == 0)
                return action;
    return std::nullopt;
}

bool isRowRole(const QString& role) {
    static const QStringList roles{QStringLiteral("list item"), QStringLiteral("table cell"),
                                   QStringLiteral("tree item"), QStringLiteral("page tab")};
    return roles.contains(role);
}

bool isPushButton(const QString& role) {
    return role == QStringLiteral("push button") || role == QStringLiteral("button");
}

bool isMenuItem(const QString& role) {
    return role == QStringLiteral("menu item");
}

// A menu of a menu bar, or one within a menu, that shows it is open by being selected.
bool showsItOpens(const LiveElement& element) {
    return element.role == QStringLiteral("menu") && element.selectable && !element.selected;
}

Point center(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

// Where in the element the recorded pointer was, carried over to the element's size now. Without
// a recorded frame, its centre.
Point pointInElement(const PlanStep& step, const LiveElement& element) {
    if (!step.location || !step.target || !step.target->frameInWindow || !step.target->windowFrame)
        return center(element.frame);
    const Rect& was = *step.target->frameInWindow;
    if (was.size.width <= 0 || was.size.height <= 0)
        return center(element.frame);
    const double fx =
        (step.location->x - step.target->windowFrame->origin.x - was.origin.x) / was.size.width;
    const double fy =
        (step.location->y - step.target->windowFrame->origin.y - was.origin.y) / was.size.height;
    if (fx < 0 || fx > 1 || fy < 0 || fy > 1)
        return center(element.frame);
    return Point{element.frame.origin.x + fx * element.frame.size.width,
                 element.frame.origin.y + fy * element.frame.size.height};
}

// Buttons that end a dialog whatever it asked.
bool readsLikeItCloses(const QString& name) {
    static const QRegularExpression words(
        QStringLiteral("^\\W*(ok|save|open|close|done|finish|yes|no|cancel|select|choose)\\b"),
        QRegularExpression::CaseInsensitiveOption);
    return words.match(name).hasMatch();
}

bool typedIntoEmptyField(const PlanStep& step) {
    const QString typed = step.text.value_or(QString());
    const QString held = step.target ? step.target->axValue.value_or(QString()) : QString();
    return !typed.isEmpty() && typed.startsWith(held);
}

// Elements that do nothing (labels, panels) have no enabled state to wait for.
bool mustBeEnabled(const LiveElement& element) {
    return !element.actions.isEmpty() || element.editable ||
           TargetMatcher::isTextRole(element.role);
}

quint64 modifierBits(const PlanStep& step) {
    constexpr quint64 mask =
        ModifierFlags::shift | ModifierFlags::control | ModifierFlags::alt | ModifierFlags::super;
    return step.modifierFlags.value_or(0) & mask;
}

} // namespace

ReplayEngine::ReplayEngine(DesktopActor& actor, SyntheticInput& input, ReplayClock& clock)
    : ReplayEngine(actor, input, clock, Options{}) {}

ReplayEngine::ReplayEngine(DesktopActor& actor, SyntheticInput& input, ReplayClock& clock,
                           Options options)
    : m_actor(actor), m_input(input), m_clock(clock), m_options(options) {}

int ReplayEngine::waitFor(const PlanStep& step) const {
    if (!step.precondition || step.precondition->trimmed().isEmpty())
        return m_options.defaultWaitMs;
    static const QRegularExpression seconds(
        QStringLiteral("(\\d+(?:\\.\\d+)?)\\s*(s|sec|secs|seconds?)\\b"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression minutes(
        QStringLiteral("(\\d+(?:\\.\\d+)?)\\s*(min|mins|minutes?)\\b"),
        QRegularExpression::CaseInsensitiveOption);
    double ms = 3.0 * m_options.defaultWaitMs;
    if (const auto m = seconds.match(*step.precondition); m.hasMatch())
        ms = m.captured(1).toDouble() * 1000;
    else if (const auto m = minutes.match(*step.precondition); m.hasMatch())
        ms = m.captured(1).toDouble() * 60000;
    return int(std::clamp<double>(ms, m_options.defaultWaitMs, m_options.longestWaitMs));
}

bool ReplayEngine::looksDestructive(const PlanStep& step) {
    if (step.isDestructive)
        return true;
    if (!step.target || !step.target->axTitle)
        return false;
    static const QRegularExpression words(
        QStringLiteral("\\b(delete|remove|erase|discard|send|submit|overwrite|replace|empty|format|"
                       "uninstall|purchase|buy|pay|transfer|publish|post)\\b"),
        QRegularExpression::CaseInsensitiveOption);
    return words.match(*step.target->axTitle).hasMatch();
}

bool ReplayEngine::settle(const std::function<bool()>& condition, int waitMs) {
    const qint64 deadline = m_clock.elapsedMs() + (waitMs < 0 ? m_options.effectWaitMs : waitMs);
    while (true) {
        if (condition())
            return true;
        if (m_clock.elapsedMs() >= deadline || stopRequested())
            return false;
        m_clock.sleepMs(std::min(m_options.pollMs, 50));
    }
}

ReplayEngine::Located ReplayEngine::locate(const PlanStep& step, const AXTarget& expected,
                                           int waitMs) {
    const qint64 deadline = m_clock.elapsedMs() + waitMs;
    Located result;
    while (true) {
        const QList<LiveWindow> windows = m_actor.windows();
        QList<LiveWindow> ours;
        for (const LiveWindow& w : windows)
            if (TargetMatcher::sameApplication(expected, w))
                ours.append(w);
        if (ours.isEmpty()) {
            result = Located{Located::Kind::failed,
                             {},
                             {},
                             TargetMatcher::Match::Kind::missing,
                             appLabel(expected) + QStringLiteral(" has no window open")};
        } else if (!hasRole(expected) || isWindowItself(expected)) {
            // Only the window was recorded: the one with the same title, else the one in front.
            auto it = std::find_if(ours.cbegin(), ours.cend(), [&](const LiveWindow& w) {
                return expected.windowTitle == w.title;
            });
            if (it == ours.cend())
                it = std::find_if(ours.cbegin(), ours.cend(),
                                  [](const LiveWindow& w) { return w.active; });
            result = Located{Located::Kind::window,
                             {},
                             it == ours.cend() ? ours.first() : *it,
                             TargetMatcher::Match::Kind::found,
                             {}};
            return result;
        } else {
            QList<TargetMatcher::Candidate> candidates;
            for (const LiveWindow& w : ours)
                for (const LiveElement& e :
                     m_actor.elements(w, *expected.axRole, m_options.elementLimit))
                    candidates.append({e, w});
            const TargetMatcher::Match match = TargetMatcher::best(expected, candidates);
            result = Located{Located::Kind::failed, {}, {}, match.kind, {}};
            switch (match.kind) {
            case TargetMatcher::Match::Kind::found:
                if (match.best->element.showing &&
                    (match.best->element.enabled || !mustBeEnabled(match.best->element)))
                    return Located{Located::Kind::element,
                                   match.best->element,
                                   match.best->window,
                                   TargetMatcher::Match::Kind::found,
                                   {}};
                result.problem =
                    targetLabel(expected) + QStringLiteral(" is there but not enabled");
                break;
            case TargetMatcher::Match::Kind::ambiguous: {
                const Point a = center(match.best->element.frame);
                const Point b = center(match.rival->element.frame);
                result.problem =
                    QStringLiteral("more than one element fits %1 (at %2,%3 and %4,%5)")
                        .arg(targetLabel(expected))
                        .arg(qRound(a.x))
                        .arg(qRound(a.y))
                        .arg(qRound(b.x))
                        .arg(qRound(b.y));
                break;
            }
            case TargetMatcher::Match::Kind::missing:
                result.problem = QStringLiteral("no element like %1 (%2) is showing")
                                     .arg(targetLabel(expected), *expected.axRole);
                break;
            }
        }
        if (m_clock.elapsedMs() >= deadline || stopRequested())
            return result;
        m_clock.sleepMs(m_options.pollMs);
    }
}

ReplayEngine::Outcome ReplayEngine::actPointer(const PlanStep& step, const Located& where) {
    const bool destructive = looksDestructive(step);
    Point at;
    if (where.kind == Located::Kind::window) {
        // Nothing but the window was recorded: the point where it was within the window.
        if (destructive)
            return {false,
                    QStringLiteral("it may delete, send or overwrite, and its element was never "
                                   "identified; Tavrik does not click where it once was")};
        if (!step.location || !step.target || !step.target->windowFrame)
            return {false, QStringLiteral("the recording does not say where in the window it was")};
        at = Point{
            where.window->frame.origin.x + step.location->x - step.target->windowFrame->origin.x,
            where.window->frame.origin.y + step.location->y - step.target->windowFrame->origin.y};
    } else {
        const LiveElement& element = *where.element;
        if (step.action == ActionType::click) {
            if (element.editable || TargetMatcher::isTextRole(element.role)) {
                // A click into a field is how the demonstration gave it the keyboard.
                if (m_actor.focus(element) && settle([&] {
                        const auto now = m_actor.refresh(element);
                        return now && now->focused;
                    }))
                    return {};
            } else if (isRowRole(element.role) && !element.pressAction()) {
                // Some toolkits take the selection without showing it: only a selection seen
                // counts.
                if (m_actor.select(element) && settle([&] {
                        const auto now = m_actor.refresh(element);
                        return now && now->selected;
                    }))
                    return {};
            } else if (const std::optional<QString> action = element.pressAction()) {
                // A push button or a menu item goes down as a person presses it, where nothing
                // covers it: a dialog run from its handler holds the application's
                // accessibility until it closes, and a press through accessibility would wait
                // for that.
                if ((isPushButton(element.role) || isMenuItem(element.role)) &&
                    !element.checkable && pressInPlace(where))
                    return {};
                if (showsItOpens(element))
                    return openMenu(step, where, *action);
                const bool wasChecked = element.checked;
                if (m_actor.performAction(element, *action)) {
                    if (!element.checkable)
                        return {};
                    if (settle([&] {
                            const auto now = m_actor.refresh(element);
                            return now && now->checked != wasChecked;
                        }))
                        return {};
                    return {false, targetLabel(*step.target) + QStringLiteral(" did not change")};
                }
                // An action that said it failed may still be carried out: its answer can run out
                // of time on a busy application that then does it. A click on top would turn the
                // toggle back, so the click waits until the change has had its time to show.
                if (element.checkable && settle([&] {
                        const auto now = m_actor.refresh(element);
                        return now && now->checked != wasChecked;
                    }))
                    return {};
            }
        } else if (step.action == ActionType::doubleClick && isRowRole(element.role)) {
            if (const auto activate = namedAction(element, {"activate"})) {
                m_actor.select(element);
                if (m_actor.performAction(element, *activate))
                    return {};
            }
        } else if (step.action == ActionType::rightClick) {
            if (const auto menu = namedAction(element, {"showmenu", "show menu", "menu"}))
                if (m_actor.performAction(element, *menu))
                    return {};
        }
        at = pointInElement(step, element);
    }
    // No accessible action fits: synthetic input at where the element is now.
    if (where.window && !where.window->active)
        m_actor.activateWindow(*where.window);
    // A toggle clicked with the pointer is checked as one pressed through accessibility. Its
    // frame may still be where its window was before the window moved: it is clicked once the
    // pointer there reaches it.
    const bool toggle =
        step.action == ActionType::click && where.element && where.element->checkable;
    if (toggle) {
        std::optional<LiveElement> now;
        if (!settle([&] {
                now = m_actor.refresh(*where.element);
                return now && m_actor.reaches(*now, pointInElement(step, *now));
            }))
            return {false, targetLabel(*step.target) +
                               QStringLiteral(" is where the pointer cannot reach it")};
        at = pointInElement(step, *now);
    }
    // A click on a row, or on what a row holds, is seen to select it.
    std::optional<LiveElement> row;
    if (step.action == ActionType::click && where.element)
        row = rowHolding(*where.element);
    // A click on something named that offers no action and shows no state of its own, in no
    // row, is seen by what the window shows after it. Not a click somewhere in an unnamed area:
    // that often changes nothing.
    const bool plain = step.action == ActionType::click && where.element && where.window &&
                       !toggle && !row && where.element->actions.isEmpty() &&
                       !where.element->editable && !where.element->name.isEmpty();
    const QStringList before = plain ? view(*where.window) : QStringList();
    bool sent = false;
    switch (step.action) {
    case ActionType::rightClick:
        sent = m_input.click(at, SyntheticInput::Button::right, 1);
        break;
    case ActionType::doubleClick:
        sent = m_input.click(at, SyntheticInput::Button::left, 2);
        break;
    case ActionType::scroll: {
        const Size delta = step.scrollDelta.value_or(Size{0, 0});
        // Recorded as the wheel reports it: up and left are positive.
        sent = m_input.scroll(at, -int(std::lround(delta.width)), -int(std::lround(delta.height)));
        break;
    }
    case ActionType::drag: {
        if (!step.endLocation || !step.location)
            return {false, QStringLiteral("the recording does not say where the drag ended")};
        const Point to{at.x + step.endLocation->x - step.location->x,
                       at.y + step.endLocation->y - step.location->y};
        sent = m_input.drag(at, to);
        break;
    }
    default:
        sent = m_input.click(at, SyntheticInput::Button::left, 1);
        break;
    }
    if (!sent)
        return {false, QStringLiteral("the input could not be sent")};
    if (toggle && !settle([&] {
            const auto now = m_actor.refresh(*where.element);
            return now && now->checked != where.element->checked;
        }))
        return {false, targetLabel(*step.target) + QStringLiteral(" did not change")};
    // A list row takes the click as it selects itself: GTK's list box selects and activates the
    // row at the release, and a selection made through accessibility does not activate it (a
    // file chooser's sidebar place opens nothing). A click the row did not take is made once
    // more where the element is now, unless it may do damage; a second click at once would
    // count as a double click.
    const auto rowSelected = [&] {
        const auto now = m_actor.refresh(*row);
        return now && now->selected;
    };
    if (row && !settle(rowSelected)) {
        const std::optional<LiveElement> now = m_actor.refresh(*where.element);
        if (destructive || !now ||
            !m_input.click(pointInElement(step, *now), SyntheticInput::Button::left, 1) ||
            !settle(rowSelected))
            return {false, targetLabel(*step.target) +
                               QStringLiteral(" was clicked but its row is not selected")};
    }
    // A click on a named element nothing else confirms may have gone by: when its window shows
    // nothing new, once more, where the element is now.
    const auto changed = [&] { return view(*where.window) != before; };
    if (plain && !destructive && !settle(changed)) {
        const std::optional<LiveElement> now = m_actor.refresh(*where.element);
        if (now && m_input.click(pointInElement(step, *now), SyntheticInput::Button::left, 1))
            settle(changed);
    }
    return {};
}

// What a window shows, read lightly: enough to tell that it changed.
QStringList ReplayEngine::view(const LiveWindow& window) {
    return m_actor.outline(window, m_options.elementLimit);
}

// A window that came up during the run may still be filling itself in, and lets what is clicked
// meanwhile go by: GTK's file chooser keeps the folder it is opening over a place picked in its
// sidebar. Before the first action in such a window, until what it shows is the same in two
// looks in a row (bounded). A look at a big window is slow on a busy bus: no more than these.
void ReplayEngine::waitUntilStill(const LiveWindow& window) {
    if (m_settledWindows.contains(window.handle))
        return;
    m_settledWindows.insert(window.handle);
    const qint64 deadline = m_clock.elapsedMs() + m_options.effectWaitMs;
    QStringList last = view(window);
    while (m_clock.elapsedMs() < deadline && !stopRequested()) {
        m_clock.sleepMs(m_options.pollMs);
        QStringList now = view(window);
        if (now == last)
            return;
        last = std::move(now);
    }
}

// A button pressed in a dialog that the person left with it: the dialog is one of its
// application's windows, and the demonstration went on in another window, or ended with a button
// that reads like it closes the dialog (Save, OK). Nothing when the window is not expected to go.
std::optional<ReplayEngine::Leaving> ReplayEngine::windowLeftBy(const Skill& skill, qsizetype index,
                                                                const Located& where) {
    const PlanStep& step = skill.plan[index];
    if (step.action != ActionType::click || where.kind != Located::Kind::element || !where.window ||
        !isPushButton(where.element->role) || where.element->checkable)
        return std::nullopt;
    QString nextTitle;
    if (index + 1 < skill.plan.size()) {
        const PlanStep& next = skill.plan[index + 1];
        if (!next.target || !next.target->windowTitle || !step.target->windowTitle ||
            *next.target->windowTitle == *step.target->windowTitle)
            return std::nullopt;
        nextTitle = *next.target->windowTitle;
    } else if (!readsLikeItCloses(where.element->name)) {
        return std::nullopt;
    }
    const QList<LiveWindow> windows = m_actor.windows();
    const qsizetype count =
        std::count_if(windows.cbegin(), windows.cend(),
                      [&](const LiveWindow& w) { return w.appID == where.window->appID; });
    if (count < 2)
        return std::nullopt;
    return Leaving{nextTitle, count};
}

// The dialog went away, or the window the next step is in came to the front. A press that was
// clearly not received (the button is there as before and did not take the focus, and no other
// window came up) is made once more through accessibility, unless it may do damage.
ReplayEngine::Outcome ReplayEngine::confirmLeft(const PlanStep& step, const Located& where,
                                                const Leaving& leaving) {
    const LiveWindow& dialog = *where.window;
    const QString& nextTitle = leaving.nextTitle;
    qsizetype windowsNow = 0;
    const auto left = [&] {
        const QList<LiveWindow> windows = m_actor.windows();
        windowsNow = 0;
        bool open = false;
        for (const LiveWindow& w : windows) {
            if (w.appID != dialog.appID)
                continue;
            ++windowsNow;
            if (w.handle == dialog.handle)
                open = true;
            else if (w.active && !nextTitle.isEmpty() && w.title == nextTitle)
                return true;
        }
        return !open;
    };
    if (settle(left, m_options.closeWaitMs))
        return {};
    const std::optional<LiveElement> button = m_actor.refresh(*where.element);
    const bool notReceived = button && button->showing && button->enabled && !button->focused &&
                             windowsNow <= leaving.windowsBefore;
    if (notReceived && !looksDestructive(step) && !stopRequested()) {
        if (const std::optional<QString> action = button->pressAction();
            action && m_actor.performAction(*button, *action) &&
            settle(left, m_options.closeWaitMs))
            return {};
    }
    return {false, targetLabel(*step.target) + QStringLiteral(" was pressed but ") +
                       quoted(dialog.title) + QStringLiteral(" stayed open")};
}

// A menu opens as the person opened it, pressed where it is: GTK opens one asked through
// accessibility without a press to take the pointer with, and now and then closes it again at
// once. Through accessibility only where the pointer cannot reach it or the press did nothing.
ReplayEngine::Outcome ReplayEngine::openMenu(const PlanStep& step, const Located& where,
                                             const QString& action) {
    const auto open = [&] {
        const auto now = m_actor.refresh(*where.element);
        return now && now->selected;
    };
    if (pressInPlace(where) && settle(open))
        return {};
    if (m_actor.performAction(*where.element, action) && settle(open))
        return {};
    return {false, targetLabel(*step.target) + QStringLiteral(" did not open")};
}

bool ReplayEngine::pressInPlace(const Located& where) {
    // Asked even when it looked active: a modal dialog that is still closing keeps the input,
    // and a click on the window under it would be lost.
    if (!where.window || !m_actor.activateWindow(*where.window))
        return false;
    const std::optional<LiveElement> now = m_actor.refresh(*where.element);
    if (!now || !now->showing || now->frame.size.width <= 0 || now->frame.size.height <= 0)
        return false;
    const Point at = center(now->frame);
    return m_actor.reaches(*now, at) && m_input.click(at, SyntheticInput::Button::left, 1);
}

// The selectable row that is the element or holds it, a few levels up at most: GTK puts what a
// list box row shows in an event box, a box and a filler, four levels down.
std::optional<LiveElement> ReplayEngine::rowHolding(const LiveElement& element) {
    constexpr int levels = 5;
    std::optional<LiveElement> current = element;
    for (int i = 0; i <= levels && current; ++i) {
        if (isRowRole(current->role))
            return current->selectable ? current : std::nullopt;
        if (i < levels)
            current = m_actor.parent(*current);
    }
    return std::nullopt;
}

ReplayEngine::Outcome ReplayEngine::actTyping(const PlanStep& step, const Located& where,
                                              const QString& text) {
    if (where.window && !where.window->active && where.kind != Located::Kind::element)
        m_actor.activateWindow(*where.window);
    if (where.kind != Located::Kind::element) {
        return m_input.typeText(text)
                   ? Outcome{}
                   : Outcome{false, QStringLiteral("the text could not be typed")};
    }
    const LiveElement& element = *where.element;
    if (!element.focused)
        m_actor.focus(element);
    // Keys typed at a button or a canvas (a calculator's digits) act on the window; no text of
    // the element shows what they did.
    const bool textual = element.editable || TargetMatcher::isTextRole(element.role);
    const bool readable = !element.secure && textual;
    const std::optional<QString> before = readable ? m_actor.text(element) : std::nullopt;
    const auto arrived = [&] {
        const std::optional<QString> now = m_actor.text(element);
        return now && (now->contains(text) || (before && *now != *before));
    };
    // The person typed into a one-line field that held nothing else (what was recorded in it is
    // a beginning of what they typed). A field that holds more now (a file chooser fills its
    // name field from the file its cursor lands on in a folder) ends up holding just this run's
    // text, as theirs did.
    if (readable && element.singleLine && before && !before->isEmpty() &&
        typedIntoEmptyField(step) && m_actor.replaceText(element, text) &&
        settle([&] { return m_actor.text(element) == text; }))
        return {};
    // An insertion whose answer ran out of time may still be carried out by a busy application:
    // keys on top would type the text twice, so a field that shows its text gets the time to.
    const bool inserted = textual && m_actor.insertText(element, text);
    if (inserted && !readable)
        return {};
    if (textual && readable && settle(arrived))
        return {};
    // Not editable through accessibility (terminals, custom widgets), or nothing changed: keys.
    if (where.window && !where.window->active)
        m_actor.activateWindow(*where.window);
    m_actor.focus(element);
    if (!m_input.typeText(text))
        return {false, QStringLiteral("the text could not be typed")};
    if (readable && !settle(arrived))
        return {false, QStringLiteral("the text did not arrive in ") + targetLabel(*step.target)};
    return {};
}

ReplayEngine::Outcome ReplayEngine::actKey(const PlanStep& step, const Located& where) {
    if (where.window && !where.window->active)
        m_actor.activateWindow(*where.window);
    if (where.kind == Located::Kind::element && !where.element->focused && where.element->focusable)
        m_actor.focus(*where.element);
    return m_input.pressKey(*step.keyCode, modifierBits(step))
               ? Outcome{}
               : Outcome{false, QStringLiteral("the key could not be pressed")};
}

ReplayEngine::Outcome ReplayEngine::act(const PlanStep& step, const AXTarget& expected,
                                        const Located& where, const QString& text) {
    Q_UNUSED(expected);
    switch (step.action) {
    case ActionType::wait:
        m_clock.sleepMs(1000);
        return {};
    case ActionType::appSwitch:
    case ActionType::windowFocus:
        return m_actor.activateWindow(*where.window)
                   ? Outcome{}
                   : Outcome{false, QStringLiteral("its window could not be brought to the front")};
    case ActionType::keystroke:
        if (!text.isNull())
            return actTyping(step, where, text);
        if (step.keyCode)
            return actKey(step, where);
        return {false, QStringLiteral("the recording holds no key for it")};
    default:
        return actPointer(step, where);
    }
}

bool ReplayEngine::run(const Skill& skill, const QMap<QString, QString>& values,
                       const QMap<qsizetype, QString>& secrets, const LineSink& emitLine) {
    m_repairs.clear();
    // Windows open before the run are taken as they are.
    m_settledWindows.clear();
    for (const LiveWindow& w : m_actor.windows())
        m_settledWindows.insert(w.handle);
    const qsizetype total = skill.plan.size();
    for (qsizetype i = 0; i < total; ++i) {
        const PlanStep& step = skill.plan[i];
        if (stopRequested()) {
            emitLine(QStringLiteral("✗ Stopped"));
            return false;
        }
        QString text;
        if (step.action == ActionType::keystroke) {
            if (step.target && step.target->isSecure && !step.text && !step.keyCode) {
                if (!secrets.contains(i)) {
                    emitLine(QStringLiteral("✗ ") + stepName(step) +
                             QStringLiteral(": no value was given for the secure field"));
                    return false;
                }
                text = secrets.value(i);
            } else if (step.text) {
                text = ParameterFill::fill(*step.text, skill.parameters, values);
            }
        }
        const bool typesText = !text.isNull();
        const AXTarget expected =
            step.target ? expectedTarget(*step.target, skill, values) : AXTarget{};
        const bool secret = step.target && step.target->isSecure && typesText;
        emitLine(QStringLiteral("→ ") + toolName(step, typesText) + u' ' +
                 (secret ? QStringLiteral("(a secret) into ") : QString()) + targetLabel(expected));
        emitLine(QStringLiteral("· Step %1 of %2: %3").arg(i + 1).arg(total).arg(step.intent));

        Located where;
        if (step.action == ActionType::wait) {
            where.kind = Located::Kind::none;
        } else if (!step.target) {
            if (step.action != ActionType::keystroke) {
                emitLine(QStringLiteral("✗ ") + stepName(step) +
                         QStringLiteral(": the recording names no element for it"));
                return false;
            }
        } else {
            where = locate(step, expected, waitFor(step));
            if (stopRequested()) {
                emitLine(QStringLiteral("✗ Stopped"));
                return false;
            }
            // A key press goes to its window when its element is gone, unless it may do damage.
            if (where.kind == Located::Kind::failed && step.action == ActionType::keystroke &&
                !typesText && where.match == TargetMatcher::Match::Kind::missing &&
                !looksDestructive(step)) {
                AXTarget windowOnly = expected;
                windowOnly.axRole.reset();
                where = locate(step, windowOnly, 0);
            }
            if (where.kind == Located::Kind::failed &&
                where.match == TargetMatcher::Match::Kind::missing && m_repairer &&
                !looksDestructive(step) && !secret && !step.target->isSecure) {
                emitLine(QStringLiteral("· Repairing step %1 with the model…").arg(i + 1));
                const StepRepairer::Result repaired =
                    m_repairer->repair({skill, i, expected, where.problem, text}, emitLine);
                if (!repaired.repaired) {
                    emitLine(QStringLiteral("✗ ") + stepName(step) + QStringLiteral(": ") +
                             where.problem + QStringLiteral("; the model could not repair it: ") +
                             repaired.reason);
                    return false;
                }
                if (repaired.target) {
                    m_repairs.append({i, *step.target, *repaired.target});
                    emitLine(QStringLiteral("· Step %1 repaired: it now acts on %2")
                                 .arg(i + 1)
                                 .arg(targetLabel(*repaired.target)));
                }
                continue;
            }
            if (where.kind == Located::Kind::failed) {
                emitLine(QStringLiteral("✗ ") + stepName(step) + QStringLiteral(": ") +
                         where.problem);
                return false;
            }
        }
        // Typed text is read back where it went: only other input acts blind on a window that is
        // still filling in, and text that arrived shows the window is taking input.
        if (where.window && typesText && !secret)
            m_settledWindows.insert(where.window->handle);
        else if (where.window && step.action != ActionType::wait)
            waitUntilStill(*where.window);
        const std::optional<Leaving> leaving = windowLeftBy(skill, i, where);
        Outcome outcome = act(step, expected, where, text);
        if (outcome.ok && leaving)
            outcome = confirmLeft(step, where, *leaving);
        if (!outcome.ok) {
            emitLine(QStringLiteral("✗ ") + stepName(step) + QStringLiteral(": ") +
                     outcome.problem);
            return false;
        }
    }
    emitLine(QStringLiteral("✓ Replayed %1 %2 of %3")
                 .arg(total)
                 .arg(total == 1 ? "step" : "steps", quoted(skill.name)));
    return true;
}

bool ReplayEngine::check(const Skill& skill, const QMap<QString, QString>& values,
                         const LineSink& emitLine) {
    int missing = 0;
    int found = 0;
    for (const PlanStep& step : skill.plan) {
        if (!step.target || step.action == ActionType::wait) {
            emitLine(QStringLiteral("· ") + stepName(step) + QStringLiteral(": nothing to find"));
            continue;
        }
        const AXTarget expected = expectedTarget(*step.target, skill, values);
        const Located where = locate(step, expected, 0);
        if (where.kind == Located::Kind::failed) {
            ++missing;
            const QString verdict = where.match == TargetMatcher::Match::Kind::ambiguous
                                        ? QStringLiteral("ambiguous")
                                        : QStringLiteral("missing");
            emitLine(QStringLiteral("· ") + stepName(step) + QStringLiteral(": ") + verdict +
                     QStringLiteral(", ") + where.problem);
        } else {
            ++found;
            emitLine(QStringLiteral("· ") + stepName(step) + QStringLiteral(": found ") +
                     targetLabel(expected));
        }
    }
    if (missing == 0) {
        emitLine(QStringLiteral("✓ Found the elements of all %1 steps").arg(found));
        return true;
    }
    emitLine(QStringLiteral("✗ %1 of %2 steps have no element to act on now")
                 .arg(missing)
                 .arg(skill.plan.size()));
    return false;
}

} // namespace tavrik
