#include "TavrikCore/Models/AXTarget.h"

#include "TavrikCore/Support/Json.h"

namespace tavrik {

QString AXTarget::humanLabel() const {
    QString label = axTitle   ? *axTitle
                    : axValue ? *axValue
                    : axRole  ? *axRole
                              : QStringLiteral("element");
    if (appName)
        label += QStringLiteral(" in ") + *appName;
    return label;
}

QJsonObject AXTarget::toJson() const {
    QJsonObject o;
    json::putOptional(o, "appBundleID", appBundleID);
    json::putOptional(o, "appName", appName);
    json::putOptional(o, "windowTitle", windowTitle);
    json::putOptional(o, "axRole", axRole);
    json::putOptional(o, "axSubrole", axSubrole);
    json::putOptional(o, "axTitle", axTitle);
    json::putOptional(o, "axValue", axValue);
    json::putOptional(o, "axIdentifier", axIdentifier);
    if (frameInWindow)
        o.insert("frameInWindow", frameInWindow->toJson());
    o.insert("isSecure", isSecure);
    json::putOptional(o, "url", url);
    json::putOptional(o, "axDescription", axDescription);
    json::putOptional(o, "axPath", axPath);
    if (windowFrame)
        o.insert("windowFrame", windowFrame->toJson());
    return o;
}

Result<AXTarget> AXTarget::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    AXTarget t;
    t.appBundleID = r.optionalString("appBundleID");
    t.appName = r.optionalString("appName");
    t.windowTitle = r.optionalString("windowTitle");
    t.axRole = r.optionalString("axRole");
    t.axSubrole = r.optionalString("axSubrole");
    t.axTitle = r.optionalString("axTitle");
    t.axValue = r.optionalString("axValue");
    t.axIdentifier = r.optionalString("axIdentifier");
    t.frameInWindow = r.optionalObject<Rect>("frameInWindow");
    t.isSecure = r.boolean("isSecure");
    t.url = r.optionalString("url");
    t.axDescription = r.optionalString("axDescription");
    t.axPath = r.optionalString("axPath");
    t.windowFrame = r.optionalObject<Rect>("windowFrame");
    return json::finish(r, t);
}

namespace {
size_t hashOptional(const std::optional<QString>& s, size_t seed) {
    return s ? qHashMulti(seed, 1, *s) : qHashMulti(seed, 0);
}
} // namespace

size_t qHash(const AXTarget& t, size_t seed) {
    for (const auto* field :
         {&t.appBundleID, &t.appName, &t.windowTitle, &t.axRole, &t.axSubrole, &t.axTitle,
          &t.axValue, &t.axIdentifier, &t.url, &t.axDescription, &t.axPath})
        seed = hashOptional(*field, seed);
    if (t.frameInWindow)
        seed = qHash(*t.frameInWindow, seed);
    if (t.windowFrame)
        seed = qHash(*t.windowFrame, seed);
    return qHashMulti(seed, t.isSecure);
}

} // namespace tavrik
