#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Models/Skill.h"

#include <QList>
#include <QString>
#include <memory>
#include <optional>
#include <string>

namespace tavrik {
class DesktopActor;
class Recorder;
} // namespace tavrik

namespace tavrik::test {

class DesktopDriver;

// A demonstration as a person gives it: XTest input on the test desktop, seen by the real
// recorder, and turned into a skill the way a drafted SKILL.md is (Synthesizer::skillFromMarkdown),
// saved in the library.
class Demonstration {
public:
    explicit Demonstration(DesktopDriver& desktop);
    ~Demonstration();

    void start();
    void click(Point at);
    void quickClick(Point at);
    // Letters, digits, spaces and a few signs (/ . - _ = + :), shifted as on a US keyboard.
    void type(const QString& text);
    void chord(const QList<unsigned long>& modifiers, unsigned long keysym);
    // Stops the recording and saves it with `skillMarkdown`'s name and parameters.
    std::optional<Skill> save(const QString& skillMarkdown);

    // Where a showing element of `role` whose name, trimmed, is `name` is now, on any window of the
    // desktop; waits up to `timeoutMs` for it to show.
    static std::optional<Rect> find(DesktopActor& actor, const QString& role, const QString& name,
                                    int timeoutMs);

    // A skill's plan a step a line, with each step's target (secure or not), for a failure to
    // show.
    static std::string described(const Skill& skill);

private:
    void settle();

    DesktopDriver& m_desktop;
    std::unique_ptr<Recorder> m_recorder;
};

} // namespace tavrik::test
