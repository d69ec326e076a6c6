#include "TavrikCore/Storage/SkillMarkdown.h"

#include "TavrikCore/Support/Json.h"

#include <limits>

namespace tavrik::SkillMarkdown {

namespace {

// ---------------------------------------------------------------------------------------------
// Rendering

bool needsQuotes(const QString& value) {
    if (value.startsWith(u' '))
        return true;
    for (QChar c : value) {
        const char16_t u = c.unicode();
        if (u == u':' || u == u'#' || u == u',' || u == u'[')
            return true;
    }
    return false;
}

// Values holding ":", "#", "," or "[" or starting with a blank are quoted; nothing else is. The
// parser strips the quotes but keeps the backslashes, so quoting is not a perfect round trip.
QString quoted(const QString& value) {
    if (!needsQuotes(value))
        return value;
    QString out;
    out.reserve(value.size() + 8);
    out += u'"';
    for (QChar c : value) {
        if (c == u'"')
            out += u'\\';
        out += c;
    }
    out += u'"';
    return out;
}

// Appends prefix + Q(value) + "\n".
void putLine(QString& out, QStringView prefix, const QString& value) {
    out += prefix;
    out += quoted(value);
    out += u'\n';
}

void renderRuntime(QString& out, const RuntimeSpec& runtime) {
    out += u"runtime:\n";
    putLine(out, u"  type: ", runtime.type);
    if (runtime.app)
        putLine(out, u"  app: ", *runtime.app);
    if (runtime.urlTemplate)
        putLine(out, u"  url_template: ", *runtime.urlTemplate);
    if (runtime.urlTemplates) {
        out += u"  url_templates:\n";
        for (const QString& url : *runtime.urlTemplates)
            putLine(out, u"    - ", url);
    }
    if (runtime.steps) {
        out += u"  steps:\n";
        for (const RuntimeSpec& step : *runtime.steps) {
            putLine(out, u"    - type: ", step.type);
            if (step.urlTemplate)
                putLine(out, u"      url_template: ", *step.urlTemplate);
        }
    }
}

// The one-based number shown for a step; a hand-edited plan may hold any 64-bit index.
QString stepNumber(qint64 index) {
    if (index == std::numeric_limits<qint64>::max())
        return QStringLiteral("9223372036854775808");
    return QString::number(index + 1);
}

// ---------------------------------------------------------------------------------------------
// Parsing

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t';
}

// Only blanks and tabs: other white space (a no-break space, say) belongs to the value.
QStringView trimmed(QStringView text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

QStringView unquoted(QStringView value) {
    if (value.size() >= 2 && value.front() == u'"' && value.back() == u'"')
        return value.sliced(1, value.size() - 2);
    return value;
}

bool isIndented(QStringView line) {
    return !line.isEmpty() && isBlank(line.front());
}

// Walks a text line by line without copying it. Editors on other systems may save "\r\n", so
// a carriage return right before the line feed belongs to the line end, not to the line.
class LineReader {
public:
    explicit LineReader(QStringView text) : m_text(text) {}

    bool atEnd() const { return m_position > m_text.size(); }
    // Whatever follows the lines read so far, untouched.
    QStringView rest() const { return atEnd() ? QStringView() : m_text.sliced(m_position); }

    QStringView next() {
        qsizetype end = m_text.indexOf(u'\n', m_position);
        const qsizetype stop = end < 0 ? m_text.size() : end;
        QStringView line = m_text.sliced(m_position, stop - m_position);
        m_position = end < 0 ? m_text.size() + 1 : end + 1;
        if (end >= 0 && line.endsWith(u'\r'))
            line.chop(1);
        return line;
    }

private:
    QStringView m_text;
    qsizetype m_position = 0;
};

// Parsed values stay views into the text until a field takes them.
using Value = std::optional<QStringView>;

std::optional<QString> toText(Value value) {
    return value ? std::optional(value->toString()) : std::nullopt;
}

struct KeyValue {
    QStringView key;
    QStringView value;
};

// The front-matter keys the parser reads; any other key is read and ignored.
struct FrontMatter {
    Value name, description, trigger, mode, created, appScope, url, castWith;
    QList<QStringView> rawLines; // between the opening and closing "---", untrimmed
    QStringView body;

    void set(const KeyValue& kv) {
        for (auto [key, slot] : {std::pair{u"name", &name},
                                 {u"description", &description},
                                 {u"trigger", &trigger},
                                 {u"mode", &mode},
                                 {u"created", &created},
                                 {u"app_scope", &appScope},
                                 {u"url", &url},
                                 {u"cast_with", &castWith}})
            if (kv.key == QStringView(key))
                *slot = kv.value;
    }
};

FrontMatter splitFrontMatter(QStringView text) {
    FrontMatter result;
    if (!text.startsWith(u"---")) {
        result.body = text;
        return result;
    }
    LineReader lines(text);
    lines.next(); // the opening "---"
    while (!lines.atEnd()) {
        const QStringView line = lines.next();
        if (trimmed(line) == u"---") {
            result.body = lines.rest();
            return result;
        }
        result.rawLines.append(line);
        // Indented lines belong to a block. Only a blank counts as indentation here, so a
        // tab-indented "key: value" still lands among the keys.
        if (line.startsWith(u' '))
            continue;
        const qsizetype colon = line.indexOf(u':');
        if (colon < 0)
            continue;
        const QStringView value = trimmed(line.sliced(colon + 1));
        if (!value.isEmpty())
            result.set({trimmed(line.first(colon)), unquoted(value)});
    }
    return result; // never closed: every line was front matter, the body is empty
}

// A "key: value" line inside a block; nothing without a colon or with an empty key.
std::optional<KeyValue> keyValue(QStringView line) {
    const qsizetype colon = line.indexOf(u':');
    if (colon < 0)
        return std::nullopt;
    const QStringView key = trimmed(line.first(colon));
    if (key.isEmpty())
        return std::nullopt;
    return KeyValue{key, unquoted(trimmed(line.sliced(colon + 1)))};
}

qsizetype findBlock(const QList<QStringView>& lines, QStringView header) {
    for (qsizetype i = 0; i < lines.size(); ++i)
        if (trimmed(lines[i]) == header)
            return i;
    return -1;
}

// One "- type: ..." item under "steps:"; other keys are ignored.
struct StepKeys {
    Value type, app, urlTemplate;

    void set(const KeyValue& kv) {
        if (kv.key == u"type")
            type = kv.value;
        else if (kv.key == u"app")
            app = kv.value;
        else if (kv.key == u"url_template")
            urlTemplate = kv.value;
    }
    // A step without a type is dropped.
    std::optional<RuntimeSpec> close() const {
        if (!type)
            return std::nullopt;
        RuntimeSpec step;
        step.type = type->toString();
        step.app = toText(app);
        step.urlTemplate = toText(urlTemplate);
        return step;
    }
};

std::optional<RuntimeSpec> parseRuntime(const QList<QStringView>& lines) {
    const qsizetype start = findBlock(lines, u"runtime:");
    if (start < 0)
        return std::nullopt;

    StepKeys own; // the runtime's own keys read the same way as a step's
    QList<QString> templates;
    QList<RuntimeSpec> steps;
    std::optional<StepKeys> step; // the open step
    bool inTemplates = false;
    bool inSteps = false;
    auto closeOpenStep = [&] {
        if (step)
            if (auto closed = step->close())
                steps.append(std::move(*closed));
        step.reset();
    };

    for (qsizetype i = start + 1; i < lines.size(); ++i) {
        const QStringView line = lines[i];
        const QStringView text = trimmed(line);
        if (text.isEmpty())
            continue;
        if (!isIndented(line))
            break;
        if (inTemplates) {
            if (text.startsWith(u"- ")) {
                templates.append(unquoted(trimmed(text.sliced(2))).toString());
                continue;
            }
            inTemplates = false;
        }
        if (text == u"steps:") {
            inSteps = true;
            continue;
        }
        if (text == u"url_templates:") {
            inTemplates = true;
            inSteps = false;
            continue;
        }
        if (inSteps) {
            const bool opens = text.startsWith(u"- ");
            if (opens) {
                closeOpenStep();
                step.emplace();
            }
            if (step)
                if (auto kv = keyValue(opens ? text.sliced(2) : text))
                    step->set(*kv);
            continue;
        }
        if (auto kv = keyValue(text))
            own.set(*kv);
    }
    closeOpenStep();

    RuntimeSpec runtime;
    runtime.type = own.type          ? own.type->toString()
                   : steps.isEmpty() ? QStringLiteral("open_url")
                                     : QStringLiteral("sequence");
    runtime.app = toText(own.app);
    runtime.urlTemplate = toText(own.urlTemplate);
    if (!templates.isEmpty())
        runtime.urlTemplates = std::move(templates);
    if (!steps.isEmpty())
        runtime.steps = std::move(steps);
    return runtime;
}

// One "- name: ..." item under "parameters:"; other keys are ignored.
struct ParameterKeys {
    Value name, type, prompt, example, exampleValue;

    void set(const KeyValue& kv) {
        for (auto [key, slot] : {std::pair{u"name", &name},
                                 {u"type", &type},
                                 {u"prompt", &prompt},
                                 {u"example", &example},
                                 {u"example_value", &exampleValue}})
            if (kv.key == QStringView(key))
                *slot = kv.value;
    }
    // An item without a name is dropped; an unknown type reads as text.
    std::optional<Parameter> close() const {
        if (!name)
            return std::nullopt;
        Parameter parameter; // with a fresh id
        parameter.name = name->toString();
        parameter.type =
            parameterTypeFromString(type.value_or(QStringView())).value_or(ParameterType::text);
        parameter.prompt = prompt.value_or(QStringView()).toString();
        parameter.exampleValue = example.value_or(exampleValue.value_or(QStringView())).toString();
        return parameter;
    }
};

QList<Parameter> parseParameters(const QList<QStringView>& lines) {
    QList<Parameter> parameters;
    const qsizetype start = findBlock(lines, u"parameters:");
    if (start < 0)
        return parameters;

    std::optional<ParameterKeys> item;
    auto closeItem = [&] {
        if (item)
            if (auto parameter = item->close())
                parameters.append(std::move(*parameter));
        item.reset();
    };
    for (qsizetype i = start + 1; i < lines.size(); ++i) {
        const QStringView line = lines[i];
        const QStringView text = trimmed(line);
        // An empty line ends the list (the runtime block skips them instead).
        if (text.isEmpty() || !isIndented(line))
            break;
        const bool opens = text.startsWith(u"- ");
        if (opens) {
            closeItem();
            item.emplace();
        }
        if (item)
            if (auto kv = keyValue(opens ? text.sliced(2) : text))
                item->set(*kv);
    }
    closeItem();
    return parameters;
}

QList<QString> parseAppScope(QStringView value) {
    QList<QString> scope;
    value = trimmed(value);
    if (value.startsWith(u'['))
        value = value.sliced(1);
    if (value.endsWith(u']'))
        value.chop(1);
    // Splitting comes before unquoting, so a quoted entry holding a comma is still split.
    for (QStringView piece : value.split(u',')) {
        const QStringView entry = unquoted(trimmed(piece));
        if (!entry.isEmpty())
            scope.append(entry.toString());
    }
    return scope;
}

// The first body line that is not blank and not a heading stands in for a missing description.
QString summaryFromBody(QStringView body) {
    LineReader lines(body);
    while (!body.isEmpty() && !lines.atEnd()) {
        const QStringView line = lines.next();
        const QStringView text = trimmed(line);
        if (!text.isEmpty() && !line.startsWith(u'#'))
            return text.toString();
    }
    return {};
}

} // namespace

QString render(const Skill& skill) {
    QString out;
    out.reserve(512 + 96 * skill.plan.size() + 128 * skill.parameters.size());
    out += u"---\n";
    putLine(out, u"name: ", skill.name);
    putLine(out, u"trigger: ", skill.trigger);
    out += u"mode: skill\ncreated: ";
    out += json::dateText(skill.createdAt);
    out += u"\napp_scope: [";
    for (qsizetype i = 0; i < skill.appScope.size(); ++i) {
        if (i > 0)
            out += u", ";
        out += quoted(skill.appScope[i]);
    }
    out += u"]\n";
    if (skill.url && !skill.url->isEmpty())
        putLine(out, u"url: ", *skill.url);
    if (skill.castWith)
        putLine(out, u"cast_with: ", toString(*skill.castWith));
    if (skill.runtime)
        renderRuntime(out, *skill.runtime);
    if (!skill.parameters.isEmpty()) {
        out += u"parameters:\n";
        for (const Parameter& parameter : skill.parameters) {
            putLine(out, u"  - name: ", parameter.name);
            out += u"    type: ";
            out += toString(parameter.type);
            out += u'\n';
            putLine(out, u"    prompt: ", parameter.prompt);
            putLine(out, u"    example: ", parameter.exampleValue);
        }
    }
    out += u"---\n\n# ";
    out += skill.name;
    out += u"\n\n";
    out += skill.summary;
    out += u"\n\n## Steps\n\n";
    for (const PlanStep& step : skill.plan) {
        out += stepNumber(step.index);
        out += u". ";
        out += step.intent;
        if (step.precondition) {
            out += u" _(precondition: ";
            out += *step.precondition;
            out += u")_";
        }
        if (step.isDestructive)
            out += u" \u26A0\uFE0F";
        out += u'\n';
    }
    return out;
}

std::optional<Skill> parse(const QString& text) {
    QStringView view(text);
    // A byte-order mark from an editor would otherwise hide the front matter.
    if (view.startsWith(QChar(0xFEFF)))
        view = view.sliced(1);
    const FrontMatter front = splitFrontMatter(view);

    Skill skill; // with a fresh id and no source recording
    skill.name = front.name ? front.name->toString() : QStringLiteral("Untitled skill");
    skill.trigger = front.trigger ? front.trigger->toString() : skill.name;
    skill.mode = parseExecutionMode(toText(front.mode));
    skill.createdAt = (front.created ? json::parseDate(*front.created) : std::nullopt)
                          .value_or(QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
    if (front.appScope)
        skill.appScope = parseAppScope(*front.appScope);
    skill.url = toText(front.url);
    skill.runtime = parseRuntime(front.rawLines);
    // An unknown choice is ignored rather than failing the whole skill.
    if (std::optional<QString> method = toText(front.castWith))
        skill.castWith = castMethodFromString(*method);
    skill.parameters = parseParameters(front.rawLines);
    skill.summary = front.description ? front.description->toString() : summaryFromBody(front.body);
    return skill;
}

QString frontMatterValue(const QString& value) {
    return quoted(value);
}

QString body(const QString& text) {
    return splitFrontMatter(text).body.toString();
}

QStringList instructionSteps(const QString& text) {
    QStringList steps;
    bool inList = false;
    for (const QString& line : body(text).split(u'\n')) {
        const QString trimmedLine = line.trimmed();
        if (trimmedLine.startsWith(QStringLiteral("#"))) {
            const QString heading =
                trimmedLine.sliced(trimmedLine.indexOf(u' ') + 1).trimmed().toLower();
            inList =
                trimmedLine.startsWith(QStringLiteral("## ")) &&
                (heading == QStringLiteral("instructions") || heading == QStringLiteral("steps"));
            continue;
        }
        if (!inList || trimmedLine.isEmpty())
            continue;
        qsizetype digits = 0;
        while (digits < trimmedLine.size() && trimmedLine[digits].isDigit())
            ++digits;
        if (digits > 0 && trimmedLine.sliced(digits).startsWith(QStringLiteral(". ")))
            steps.append(trimmedLine.sliced(digits + 2).trimmed());
        else if (!steps.isEmpty() && line.startsWith(u' '))
            steps.last() += u' ' + trimmedLine; // a step wrapped onto the next line
    }
    return steps;
}

} // namespace tavrik::SkillMarkdown
