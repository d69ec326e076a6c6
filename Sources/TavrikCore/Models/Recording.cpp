#include "TavrikCore/Models/Recording.h"

#include "TavrikCore/Support/Json.h"

#include <limits>

namespace tavrik {

QJsonObject ActionEvent::toJson() const {
    QJsonObject o{{"id", json::uuidText(id)}, {"timeOffset", timeOffset}, {"type", toString(type)}};
    if (location)
        o.insert("location", location->toJson());
    if (endLocation)
        o.insert("endLocation", endLocation->toJson());
    if (scrollDelta)
        o.insert("scrollDelta", scrollDelta->toJson());
    if (target)
        o.insert("target", target->toJson());
    json::putOptional(o, "typedText", typedText);
    if (keyCode)
        o.insert("keyCode", int(*keyCode));
    if (modifierFlags)
        o.insert("modifierFlags", qint64(*modifierFlags));
    if (frameIndex)
        o.insert("frameIndex", *frameIndex);
    return o;
}

Result<ActionEvent> ActionEvent::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    ActionEvent e;
    e.id = r.uuid("id");
    e.timeOffset = r.number("timeOffset");
    e.type = r.enumeration("type", actionTypeFromString, "action type");
    e.location = r.optionalObject<Point>("location");
    e.endLocation = r.optionalObject<Point>("endLocation");
    e.scrollDelta = r.optionalObject<Size>("scrollDelta");
    e.target = r.optionalObject<AXTarget>("target");
    e.typedText = r.optionalString("typedText");
    if (auto code = r.optionalInteger("keyCode", 0, std::numeric_limits<quint16>::max()))
        e.keyCode = quint16(*code);
    if (auto flags = r.optionalInteger("modifierFlags", 0, std::numeric_limits<qint64>::max()))
        e.modifierFlags = quint64(*flags);
    e.frameIndex = r.optionalInteger("frameIndex", std::numeric_limits<qint64>::min(),
                                     std::numeric_limits<qint64>::max());
    return json::finish(r, e);
}

QJsonObject FrameRef::toJson() const {
    QJsonArray regions;
    for (const Rect& region : redactedRegions)
        regions.append(region.toJson());
    return {{"id", json::uuidText(id)},        {"timeOffset", timeOffset},
            {"relativePath", relativePath},    {"displayID", qint64(displayID)},
            {"pixelSize", pixelSize.toJson()}, {"redactedRegions", regions}};
}

Result<FrameRef> FrameRef::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    FrameRef f;
    f.id = r.uuid("id");
    f.timeOffset = r.number("timeOffset");
    f.relativePath = r.string("relativePath");
    f.displayID = quint32(r.integer("displayID", 0, std::numeric_limits<quint32>::max()));
    f.pixelSize = r.object<Size>("pixelSize");
    f.redactedRegions = r.list<Rect>("redactedRegions");
    return json::finish(r, f);
}

QJsonObject AppContextSnapshot::toJson() const {
    QJsonObject o{{"timeOffset", timeOffset}};
    json::putOptional(o, "bundleID", bundleID);
    json::putOptional(o, "appName", appName);
    json::putOptional(o, "windowTitle", windowTitle);
    return o;
}

Result<AppContextSnapshot> AppContextSnapshot::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    AppContextSnapshot s;
    s.timeOffset = r.number("timeOffset");
    s.bundleID = r.optionalString("bundleID");
    s.appName = r.optionalString("appName");
    s.windowTitle = r.optionalString("windowTitle");
    return json::finish(r, s);
}

double Recording::duration() const {
    return endedAt ? startedAt.msecsTo(*endedAt) / 1000.0 : 0.0;
}

QJsonObject Recording::toJson() const {
    QJsonObject o{{"id", json::uuidText(id)},
                  {"startedAt", json::dateText(startedAt)},
                  {"displays", json::arrayOf(displays)},
                  {"events", json::arrayOf(events)},
                  {"frames", json::arrayOf(frames)},
                  {"appContexts", json::arrayOf(appContexts)}};
    if (endedAt)
        o.insert("endedAt", json::dateText(*endedAt));
    return o;
}

Result<Recording> Recording::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Recording rec;
    rec.id = r.uuid("id");
    rec.startedAt = r.date("startedAt");
    rec.endedAt = r.optionalDate("endedAt");
    rec.displays = r.list<DisplayInfo>("displays");
    rec.events = r.list<ActionEvent>("events");
    rec.frames = r.list<FrameRef>("frames");
    rec.appContexts = r.list<AppContextSnapshot>("appContexts");
    return json::finish(r, rec);
}

} // namespace tavrik
