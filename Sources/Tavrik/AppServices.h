#pragma once

#include "TavrikCore/Casting/ProcessStarter.h"
#include "TavrikCore/Models/Recording.h"
#include "TavrikCore/Models/Skill.h"

#include <QJsonObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

// What the application state needs from the desktop and the network, as small interfaces so the
// whole state table runs in tests without a display. The application wires the real services in;
// tests give fakes or the real pieces that run headless.
namespace tavrik {

// Records one demonstration. `stop` answers once, on the main thread, with the written recording
// or nothing (nothing was recorded or it could not be written).
class DemonstrationRecorder {
public:
    virtual ~DemonstrationRecorder() = default;
    virtual void start() = 0;
    virtual void stop(std::function<void(std::optional<Recording>)> done) = 0;
};

// Spoken narration beside a recording. Levels are in 0...1 and may be reported from any thread;
// `stop` answers once on the main thread with the transcript (empty when there was none).
class NarrationSource {
public:
    virtual ~NarrationSource() = default;
    virtual void start(std::function<void(double level)> onLevel) = 0;
    virtual void stop(std::function<void(QString transcript)> done) = 0;
    // Why the last start captured nothing (no capture device, no sound server); empty when it
    // did. Known by the time `stop` answers.
    virtual QString problem() const { return {}; }
};

// Turns a recording into a SKILL.md draft through the hosted model. Fragments and the end are
// reported on the main thread; dropping the returned handle cancels the request and nothing more
// is reported.
class SkillSynthesis {
public:
    struct Draft {
        Skill skill;
        QString markdown;
    };
    // Exactly one of the two is set.
    struct Result {
        std::optional<Draft> draft;
        QString error;
    };
    class Task {
    public:
        virtual ~Task() = default;
    };

    virtual ~SkillSynthesis() = default;
    virtual std::unique_ptr<Task> streamSkill(const Recording& recording, const QString& narration,
                                              std::function<void(const QString& fragment)> onDelta,
                                              std::function<void(Result)> done) = 0;
};

// The three desktop permissions, as far as the application state must know them.
class PermissionGate {
public:
    virtual ~PermissionGate() = default;
    virtual void refresh() = 0;
    virtual bool allGranted() const = 0;
    // The hotkeys can work once input monitoring or accessibility is granted.
    virtual bool hotkeysPossible() const = 0;
};

// The global gestures. Events themselves arrive at AppState::handleHotkey.
class HotkeyControl {
public:
    virtual ~HotkeyControl() = default;
    virtual bool start() = 0;
    virtual void setCasting(bool casting) = 0;
    // Why the last start left a gesture unavailable (another program holds its key); empty when
    // every gesture works.
    virtual QString problem() const { return {}; }
};

// A modal question with buttons, as an alert shows it. The answer is the index of the chosen
// button, or -1 when the question was closed without one.
struct Question {
    QString message;
    QString details;
    QStringList buttons;
    bool warning = false;
};

class Questions {
public:
    virtual ~Questions() = default;
    virtual int ask(const Question& question) = 0;
    // A value typed without showing it (a password for a replayed step); nothing when the user
    // cancels. The answer is used once and never kept.
    virtual std::optional<QString> askSecret(const QString& message, const QString& fieldLabel) {
        Q_UNUSED(message);
        Q_UNUSED(fieldLabel);
        return std::nullopt;
    }
};

// Everything the application state is given; any of it may be missing, and the flows that need a
// missing piece say so or do nothing.
struct AppServices {
    std::unique_ptr<DemonstrationRecorder> recorder;
    std::unique_ptr<NarrationSource> narration;
    std::unique_ptr<SkillSynthesis> synthesis;
    std::unique_ptr<PermissionGate> permissions;
    std::unique_ptr<HotkeyControl> hotkeys;
    std::unique_ptr<Questions> questions;
    // Starts the process each cast speaks to; real child processes when none is given.
    std::unique_ptr<ProcessStarter> processes;
    // Usage events; the application sends them to the analytics host.
    std::function<void(const QString& event, const QJsonObject& properties)> analytics;
};

} // namespace tavrik
