#include "TavrikCore/Models/ExecutionPlanDocument.h"
#include "TavrikCore/Support/Json.h"

#include <algorithm>
#include <limits>

namespace tavrik {

QString toString(ParameterType type) {
    switch (type) {
    case ParameterType::text: return QStringLiteral("text");
    case ParameterType::date: return QStringLiteral("date");
    case ParameterType::number: return QStringLiteral("number");
    case ParameterType::filePath: return QStringLiteral("filePath");
    case ParameterType::searchTerm: return QStringLiteral("searchTerm");
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
    return {{"id", json::uuidText(id)}, {"name", name},                 {"type", toString(type)},
            {"prompt", prompt},         {"exampleValue", exampleValue}, {"usedInSteps", steps}};
}

std::optional<Parameter> Parameter::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    Parameter p;
    p.id = r.uuid("id");
    p.name = r.string("name");
    const QString type = r.string("type");
    if (r.ok()) {
        if (auto parsed = parameterTypeFromString(type))
            p.type = *parsed;
        else
            r.fail("type: unknown parameter type " + type.left(40));
    }
    p.prompt = r.string("prompt");
    p.exampleValue = r.string("exampleValue");
    p.usedInSteps = r.integers("usedInSteps");
    return json::finish(r, p, error);
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
    return o;
}

std::optional<PlanStep> PlanStep::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    PlanStep s;
    s.id = r.uuid("id");
    s.index = r.integer("index", std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max());
    s.intent = r.string("intent");
    const QString action = r.string("action");
    if (r.ok()) {
        if (auto parsed = actionTypeFromString(action))
            s.action = *parsed;
        else
            r.fail("action: unknown action type " + action.left(40));
    }
    s.target = r.optionalObject<AXTarget>("target");
    s.location = r.optionalObject<Point>("location");
    s.text = r.optionalString("text");
    if (auto code = r.optionalInteger("keyCode", 0, std::numeric_limits<quint16>::max()))
        s.keyCode = quint16(*code);
    if (auto flags = r.optionalInteger("modifierFlags", 0, std::numeric_limits<qint64>::max()))
        s.modifierFlags = quint64(*flags);
    s.precondition = r.optionalString("precondition");
    s.isDestructive = r.boolean("isDestructive");
    return json::finish(r, s, error);
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

std::optional<RuntimeSpec> RuntimeSpec::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    RuntimeSpec spec;
    spec.type = r.string("type");
    spec.app = r.optionalString("app");
    spec.urlTemplate = r.optionalString("urlTemplate");
    spec.urlTemplates = r.optionalStrings("urlTemplates");
    spec.steps = r.optionalList<RuntimeSpec>("steps");
    return json::finish(r, spec, error);
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

// Joins the alphanumeric pieces of a slash command with dashes as they come.
class SlashCommandBuilder {
public:
    explicit SlashCommandBuilder(qsizetype capacity) { m_text.reserve(capacity + 8); }
    void letters(QStringView piece) {
        if (m_separated && m_text.size() > 1)
            m_text += u'-';
        m_separated = false;
        m_text += piece;
    }
    void separator() { m_separated = true; }
    QString take() { return m_text.size() == 1 ? QStringLiteral("/skill") : std::move(m_text); }

private:
    QString m_text{u'/'};
    bool m_separated = false;
};

} // namespace

QString Skill::slashCommand() const {
    // The palette computes this for every skill on every keystroke: one pass, no per-character
    // allocation, and no Unicode tables for ASCII names.
    const bool ascii =
        std::all_of(name.cbegin(), name.cend(), [](QChar c) { return c.unicode() < 0x80; });
    if (ascii) {
        // Written straight into place: "&" grows to three letters, a dash precedes each piece.
        QString text(1 + 4 * name.size(), Qt::Uninitialized);
        QChar* out = text.data();
        QChar* const start = out;
        *out++ = u'/';
        bool separated = false;
        auto put = [&](char16_t c) {
            if (separated && out - start > 1)
                *out++ = u'-';
            separated = false;
            *out++ = c;
        };
        for (QChar ch : name) {
            char16_t c = ch.unicode();
            if (c >= u'A' && c <= u'Z')
                c += 32;
            if (c == u'&') {
                put(u'a');
                *out++ = u'n';
                *out++ = u'd';
            } else if ((c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9')) {
                put(c);
            } else {
                separated = true;
            }
        }
        if (out - start == 1)
            return QStringLiteral("/skill");
        text.truncate(out - start);
        return text;
    }
    SlashCommandBuilder command(name.size());
    const QString lowered = name.toLower();
    const QStringView view(lowered);
    // Walk code points so letters outside the BMP count as letters.
    for (qsizetype i = 0; i < view.size();) {
        char32_t c = view[i].unicode();
        qsizetype length = 1;
        if (QChar::isHighSurrogate(c) && i + 1 < view.size() && view[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(view[i], view[i + 1]);
            length = 2;
        }
        if (c == u'&')
            command.letters(u"and");
        else if (QChar::isLetterOrNumber(c))
            command.letters(view.sliced(i, length));
        else
            command.separator();
        i += length;
    }
    return command.take();
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
    return o;
}

std::optional<Skill> Skill::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    Skill s;
    s.id = r.uuid("id");
    s.name = r.string("name");
    s.trigger = r.string("trigger");
    s.summary = r.string("summary");
    const QString mode = r.string("mode");
    if (r.ok() && !executionModeFromString(mode))
        r.fail("mode: unknown execution mode " + mode.left(40));
    s.parameters = r.list<Parameter>("parameters");
    s.plan = r.list<PlanStep>("plan");
    s.appScope = r.strings("appScope");
    s.url = r.optionalString("url");
    s.runtime = r.optionalObject<RuntimeSpec>("runtime");
    s.createdAt = r.date("createdAt");
    s.sourceRecordingID = r.optionalUuid("sourceRecordingID");
    return json::finish(r, s, error);
}

QJsonObject ExecutionPlanDocument::toJson() const {
    QJsonObject o{{"parameters", json::arrayOf(parameters)}, {"plan", json::arrayOf(plan)}};
    if (runtime)
        o.insert("runtime", runtime->toJson());
    return o;
}

std::optional<ExecutionPlanDocument> ExecutionPlanDocument::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    ExecutionPlanDocument d;
    d.parameters = r.list<Parameter>("parameters");
    d.plan = r.list<PlanStep>("plan");
    d.runtime = r.optionalObject<RuntimeSpec>("runtime");
    return json::finish(r, d, error);
}

} // namespace tavrik
