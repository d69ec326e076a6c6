#include "TavrikCore/Models/ExecutionPlanDocument.h"
#include "TavrikCore/Support/Alphanumeric.h"
#include "TavrikCore/Support/Json.h"

#include <array>
#include <limits>

namespace tavrik {

QString toString(ParameterType type) {
    switch (type) {
    case ParameterType::text:
        return QStringLiteral("text");
    case ParameterType::date:
        return QStringLiteral("date");
    case ParameterType::number:
        return QStringLiteral("number");
    case ParameterType::filePath:
        return QStringLiteral("filePath");
    case ParameterType::searchTerm:
        return QStringLiteral("searchTerm");
    }
    return {};
}

std::optional<ParameterType> parameterTypeFromString(QStringView text) {
    for (ParameterType type : kAllParameterTypes)
        if (toString(type) == text)
            return type;
    return std::nullopt;
}

QJsonObject Parameter::toJson() const {
    QJsonArray steps;
    for (qint64 step : usedInSteps)
        steps.append(step);
    return {{"id", json::uuidText(id)},     {"name", name},
            {"type", toString(type)},       {"prompt", prompt},
            {"exampleValue", exampleValue}, {"usedInSteps", steps}};
}

Result<Parameter> Parameter::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Parameter p;
    p.id = r.uuid("id");
    p.name = r.string("name");
    p.type = r.enumeration("type", parameterTypeFromString, "parameter type");
    p.prompt = r.string("prompt");
    p.exampleValue = r.string("exampleValue");
    p.usedInSteps = r.integers("usedInSteps");
    return json::finish(r, p);
}

QJsonObject PlanStep::toJson() const {
    QJsonObject o{{"id", json::uuidText(id)},
                  {"index", index},
                  {"intent", intent},
                  {"action", toString(action)},
                  {"isDestructive", isDestructive}};
    if (target)
        o.insert("target", target->toJson());
    if (location)
        o.insert("location", location->toJson());
    json::putOptional(o, "text", text);
    if (keyCode)
        o.insert("keyCode", int(*keyCode));
    if (modifierFlags)
        o.insert("modifierFlags", qint64(*modifierFlags));
    json::putOptional(o, "precondition", precondition);
    if (endLocation)
        o.insert("endLocation", endLocation->toJson());
    if (scrollDelta)
        o.insert("scrollDelta", scrollDelta->toJson());
    return o;
}

Result<PlanStep> PlanStep::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    PlanStep s;
    s.id = r.uuid("id");
    s.index =
        r.integer("index", std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max());
    s.intent = r.string("intent");
    s.action = r.enumeration("action", actionTypeFromString, "action type");
    s.target = r.optionalObject<AXTarget>("target");
    s.location = r.optionalObject<Point>("location");
    s.text = r.optionalString("text");
    if (auto code = r.optionalInteger("keyCode", 0, std::numeric_limits<quint16>::max()))
        s.keyCode = quint16(*code);
    if (auto flags = r.optionalInteger("modifierFlags", 0, std::numeric_limits<qint64>::max()))
        s.modifierFlags = quint64(*flags);
    s.precondition = r.optionalString("precondition");
    s.isDestructive = r.boolean("isDestructive");
    s.endLocation = r.optionalObject<Point>("endLocation");
    s.scrollDelta = r.optionalObject<Size>("scrollDelta");
    return json::finish(r, s);
}

QList<QString> RuntimeSpec::allURLTemplates() const {
    QList<QString> urls;
    if (urlTemplate)
        urls.append(*urlTemplate);
    if (urlTemplates)
        urls.append(*urlTemplates);
    if (steps)
        for (const RuntimeSpec& step : *steps)
            urls.append(step.allURLTemplates());
    return urls;
}

QJsonObject RuntimeSpec::toJson() const {
    QJsonObject o{{"type", type}};
    json::putOptional(o, "app", app);
    json::putOptional(o, "urlTemplate", urlTemplate);
    if (urlTemplates)
        o.insert("urlTemplates", QJsonArray::fromStringList(*urlTemplates));
    if (steps)
        o.insert("steps", json::arrayOf(*steps));
    return o;
}

Result<RuntimeSpec> RuntimeSpec::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    RuntimeSpec spec;
    spec.type = r.string("type");
    spec.app = r.optionalString("app");
    spec.urlTemplate = r.optionalString("urlTemplate");
    spec.urlTemplates = r.optionalStrings("urlTemplates");
    spec.steps = r.optionalList<RuntimeSpec>("steps");
    return json::finish(r, spec);
}

size_t qHash(const RuntimeSpec& spec, size_t seed) {
    seed = qHashMulti(seed, spec.type, spec.app.has_value(), spec.app.value_or(QString()),
                      spec.urlTemplate.has_value(), spec.urlTemplate.value_or(QString()));
    seed = qHashMulti(seed, spec.urlTemplates.has_value());
    if (spec.urlTemplates)
        seed = qHashRange(spec.urlTemplates->begin(), spec.urlTemplates->end(), seed);
    seed = qHashMulti(seed, spec.steps.has_value());
    if (spec.steps)
        for (const RuntimeSpec& step : *spec.steps)
            seed = qHash(step, seed);
    return seed;
}

namespace {

// What each ASCII character becomes in a slash command: letters lower-cased, digits kept, "&"
// marked for "and", everything else (0) separates.
constexpr std::array<char16_t, 128> kAsciiSlash = [] {
    std::array<char16_t, 128> table{};
    for (char16_t c = u'0'; c <= u'9'; ++c)
        table[c] = c;
    for (char16_t c = u'a'; c <= u'z'; ++c)
        table[c] = table[c - 32] = c;
    table[u'&'] = u'&';
    return table;
}();

} // namespace

QString Skill::slashCommand() const {
    // The palette computes this for every skill on every keystroke, so it is one pass into one
    // buffer. Lower-casing goes code point by code point, as QString::toLower does; the one
    // code point that lower-cases to two is "İ", to "i" and a combining dot, which is a mark.
    // Each code unit of the name adds at most four units ("&" after a separator: "-and").
    QString text(1 + 4 * name.size(), Qt::Uninitialized);
    char16_t* const start = reinterpret_cast<char16_t*>(text.data());
    char16_t* out = start;
    *out++ = u'/';
    bool separated = false;
    auto beginPiece = [&] {
        if (separated && out - start > 1)
            *out++ = u'-';
        separated = false;
    };
    const QStringView view(name);
    for (qsizetype i = 0; i < view.size();) {
        char32_t c = view[i].unicode();
        if (c < 0x80) {
            ++i;
            const char16_t mapped = kAsciiSlash[c];
            if (mapped == 0) {
                separated = true;
            } else if (mapped == u'&') {
                beginPiece();
                *out++ = u'a';
                *out++ = u'n';
                *out++ = u'd';
            } else {
                beginPiece();
                *out++ = mapped;
            }
            continue;
        }
        // Whole code points, so letters outside the BMP count as letters.
        if (QChar::isHighSurrogate(c) && i + 1 < view.size() && view[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(view[i], view[i + 1]);
            i += 2;
        } else {
            ++i;
        }
        if (c == 0x0130) {
            beginPiece();
            *out++ = u'i';
            *out++ = u'\u0307';
            continue;
        }
        c = QChar::toLower(c);
        if (!isAlphanumeric(c)) {
            separated = true;
            continue;
        }
        beginPiece();
        if (QChar::requiresSurrogates(c)) {
            *out++ = QChar::highSurrogate(c);
            *out++ = QChar::lowSurrogate(c);
        } else {
            *out++ = char16_t(c);
        }
    }
    if (out - start == 1)
        return QStringLiteral("/skill");
    text.truncate(out - start);
    return text;
}

QJsonObject Skill::toJson() const {
    QJsonObject o{{"id", json::uuidText(id)},
                  {"name", name},
                  {"trigger", trigger},
                  {"summary", summary},
                  {"mode", toString(mode)},
                  {"parameters", json::arrayOf(parameters)},
                  {"plan", json::arrayOf(plan)},
                  {"appScope", QJsonArray::fromStringList(appScope)},
                  {"createdAt", json::dateText(createdAt)}};
    json::putOptional(o, "url", url);
    if (runtime)
        o.insert("runtime", runtime->toJson());
    if (sourceRecordingID)
        o.insert("sourceRecordingID", json::uuidText(*sourceRecordingID));
    if (castWith)
        o.insert("castWith", toString(*castWith));
    return o;
}

Result<Skill> Skill::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Skill s;
    s.id = r.uuid("id");
    s.name = r.string("name");
    s.trigger = r.string("trigger");
    s.summary = r.string("summary");
    s.mode = r.enumeration("mode", executionModeFromString, "execution mode");
    s.parameters = r.list<Parameter>("parameters");
    s.plan = r.list<PlanStep>("plan");
    s.appScope = r.strings("appScope");
    s.url = r.optionalString("url");
    s.runtime = r.optionalObject<RuntimeSpec>("runtime");
    s.createdAt = r.date("createdAt");
    s.sourceRecordingID = r.optionalUuid("sourceRecordingID");
    if (std::optional<QString> method = r.optionalString("castWith")) {
        s.castWith = castMethodFromString(*method);
        if (!s.castWith)
            return Failure{QStringLiteral("unknown castWith: ") + *method};
    }
    return json::finish(r, s);
}

QJsonObject ExecutionPlanDocument::toJson() const {
    QJsonObject o{{"parameters", json::arrayOf(parameters)}, {"plan", json::arrayOf(plan)}};
    if (runtime)
        o.insert("runtime", runtime->toJson());
    if (createdAt && createdAt->isValid())
        o.insert("created", json::dateText(*createdAt));
    return o;
}

Result<ExecutionPlanDocument> ExecutionPlanDocument::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    ExecutionPlanDocument d;
    d.parameters = r.list<Parameter>("parameters");
    d.plan = r.list<PlanStep>("plan");
    d.runtime = r.optionalObject<RuntimeSpec>("runtime");
    d.createdAt = r.optionalDate("created");
    return json::finish(r, d);
}

} // namespace tavrik
