import * as path from 'node:path';
import { MiB, readDataFile } from './datafile.js';

export interface RuntimeSpec {
    type: string;
    app?: string;
    urlTemplate?: string;
    urlTemplates?: string[];
    steps?: RuntimeSpec[];
}

export interface Parameter {
    name: string;
    type: string;
    prompt: string;
    exampleValue: string;
}

export interface Skill {
    folder: string;
    name: string;
    description: string;
    url?: string;
    csv?: string;
    spreadsheet?: string;
    runtime?: RuntimeSpec;
    parameters: Parameter[];
    markdown: string; // the whole SKILL.md, as the user last saw it
    body: string;
}

export class SkillError extends Error {}

const directTypes = new Set(['open_url', 'sequence']);

export function isDirect(skill: Skill): boolean {
    return (
        !!skill.runtime &&
        directTypes.has(skill.runtime.type) &&
        allURLTemplates(skill.runtime).length > 0
    );
}

export function allURLTemplates(spec: RuntimeSpec): string[] {
    const out: string[] = [];
    if (spec.urlTemplate !== undefined) out.push(spec.urlTemplate);
    if (spec.urlTemplates) out.push(...spec.urlTemplates);
    for (const step of spec.steps ?? []) out.push(...allURLTemplates(step));
    return out;
}

function unquote(v: string): string {
    return v.length >= 2 && v.startsWith('"') && v.endsWith('"') ? v.slice(1, -1) : v;
}

function keyValue(line: string): [string, string] | null {
    const i = line.indexOf(':');
    if (i < 0) return null;
    const key = line.slice(0, i).trim();
    if (!key) return null;
    return [key, unquote(line.slice(i + 1).trim())];
}

const indented = (line: string) => line.startsWith(' ') || line.startsWith('\t');

interface FrontMatter {
    keys: Map<string, string>;
    raw: string[];
    body: string;
}

// Lenient on purpose: people edit these files by hand, and the model writes them.
export function splitFrontMatter(text: string): FrontMatter {
    const keys = new Map<string, string>();
    if (!text.startsWith('---')) return { keys, raw: [], body: text };
    const lines = text.split('\n');
    let close = -1;
    for (let i = 1; i < lines.length; i++) {
        if (lines[i].replace(/^[ \t]+|[ \t\r]+$/g, '') === '---') {
            close = i;
            break;
        }
        const line = lines[i];
        if (line.startsWith(' ') || !line.includes(':')) continue;
        const kv = keyValue(line);
        if (kv && kv[1] !== '') keys.set(kv[0], kv[1]);
    }
    const end = close < 0 ? lines.length : close;
    return {
        keys,
        raw: lines.slice(1, end),
        body: close < 0 ? '' : lines.slice(close + 1).join('\n'),
    };
}

function parseRuntime(raw: string[]): RuntimeSpec | undefined {
    const start = raw.findIndex((l) => l.trim() === 'runtime:');
    if (start < 0) return undefined;
    let type: string | undefined;
    let app: string | undefined;
    let urlTemplate: string | undefined;
    const templates: string[] = [];
    const steps: RuntimeSpec[] = [];
    let mode: 'plain' | 'list' | 'steps' = 'plain';
    let step: Map<string, string> | null = null;
    const closeStep = () => {
        if (step?.has('type'))
            steps.push({
                type: step.get('type')!,
                app: step.get('app'),
                urlTemplate: step.get('url_template'),
            });
        step = null;
    };
    for (const line of raw.slice(start + 1)) {
        const t = line.trim();
        if (!t) continue;
        if (!indented(line)) break;
        if (t === 'steps:') {
            mode = 'steps';
            continue;
        }
        if (t === 'url_templates:') {
            mode = 'list';
            continue;
        }
        if (mode === 'list') {
            if (t.startsWith('- ')) {
                templates.push(unquote(t.slice(2).trim()));
                continue;
            }
            mode = 'plain';
        }
        if (mode === 'steps') {
            if (t.startsWith('- ')) {
                closeStep();
                step = new Map();
                const kv = keyValue(t.slice(2));
                if (kv) step.set(kv[0], kv[1]);
            } else {
                const kv = keyValue(t);
                if (kv && step) step.set(kv[0], kv[1]);
            }
            continue;
        }
        const kv = keyValue(t);
        if (!kv) continue;
        if (kv[0] === 'type') type = kv[1];
        else if (kv[0] === 'app') app = kv[1];
        else if (kv[0] === 'url_template') urlTemplate = kv[1];
    }
    closeStep();
    const spec: RuntimeSpec = { type: type ?? (steps.length ? 'sequence' : 'open_url') };
    if (app !== undefined) spec.app = app;
    if (urlTemplate !== undefined) spec.urlTemplate = urlTemplate;
    if (templates.length) spec.urlTemplates = templates;
    if (steps.length) spec.steps = steps;
    return spec;
}

function parseParameters(raw: string[]): Parameter[] {
    const start = raw.findIndex((l) => l.trim() === 'parameters:');
    if (start < 0) return [];
    const out: Parameter[] = [];
    let item: Map<string, string> | null = null;
    const close = () => {
        if (item?.has('name')) {
            out.push({
                name: item.get('name')!,
                type: item.get('type') ?? 'text',
                prompt: item.get('prompt') ?? '',
                exampleValue: item.get('example') ?? item.get('example_value') ?? '',
            });
        }
        item = null;
    };
    for (const line of raw.slice(start + 1)) {
        if (!indented(line) || !line.trim()) break;
        const t = line.trim();
        if (t.startsWith('- ')) {
            close();
            item = new Map();
            const kv = keyValue(t.slice(2));
            if (kv) item.set(kv[0], kv[1]);
        } else if (item) {
            const kv = keyValue(t);
            if (kv) item.set(kv[0], kv[1]);
        }
    }
    close();
    return out;
}

export function parseSkillMarkdown(text: string, folder = ''): Skill {
    const fm = splitFrontMatter(text);
    const name = fm.keys.get('name') ?? 'Untitled skill';
    let description = fm.keys.get('description') ?? '';
    if (!description) {
        const first = fm.body.split('\n').find((l) => l.trim() && !l.startsWith('#'));
        description = first?.trim() ?? '';
    }
    return {
        folder,
        name,
        description,
        url: fm.keys.get('url'),
        csv: fm.keys.get('csv'),
        spreadsheet: fm.keys.get('spreadsheet'),
        runtime: parseRuntime(fm.raw),
        parameters: parseParameters(fm.raw),
        markdown: text,
        body: fm.body,
    };
}

function specFromJson(v: unknown): RuntimeSpec | undefined {
    if (!v || typeof v !== 'object') return undefined;
    const o = v as Record<string, unknown>;
    if (typeof o.type !== 'string') return undefined;
    const spec: RuntimeSpec = { type: o.type };
    if (typeof o.app === 'string') spec.app = o.app;
    if (typeof o.urlTemplate === 'string') spec.urlTemplate = o.urlTemplate;
    if (Array.isArray(o.urlTemplates))
        spec.urlTemplates = o.urlTemplates.filter((t): t is string => typeof t === 'string');
    if (Array.isArray(o.steps))
        spec.steps = o.steps.map(specFromJson).filter((s): s is RuntimeSpec => !!s);
    return spec;
}

// SKILL.md is what the user edits; the plan document beside it carries the exact parameters and runtime.
export function loadSkill(folder: string, log?: (...a: unknown[]) => void): Skill {
    const mdPath = path.join(folder, 'SKILL.md');
    let text: string;
    try {
        text = readDataFile(mdPath, MiB);
    } catch (e) {
        const code = (e as NodeJS.ErrnoException).code;
        throw new SkillError(
            code === 'ENOENT'
                ? `There is no SKILL.md in ${folder}.`
                : `Couldn't read ${mdPath}: ${(e as Error).message}`,
        );
    }
    const skill = parseSkillMarkdown(text, folder);
    const planPath = path.join(folder, 'execution_plan.json');
    let doc: Record<string, unknown> | null = null;
    try {
        doc = JSON.parse(readDataFile(planPath, 8 * MiB));
    } catch (e) {
        if ((e as NodeJS.ErrnoException).code !== 'ENOENT')
            log?.('ignoring unreadable execution_plan.json:', (e as Error).message);
    }
    if (doc && typeof doc === 'object') {
        if (Array.isArray(doc.parameters)) {
            const params: Parameter[] = [];
            for (const p of doc.parameters) {
                if (p && typeof p === 'object' && typeof p.name === 'string') {
                    params.push({
                        name: p.name,
                        type: typeof p.type === 'string' ? p.type : 'text',
                        prompt: typeof p.prompt === 'string' ? p.prompt : '',
                        exampleValue: typeof p.exampleValue === 'string' ? p.exampleValue : '',
                    });
                }
            }
            skill.parameters = params;
        }
        const rt = specFromJson(doc.runtime);
        if (rt) skill.runtime = rt;
    }
    return skill;
}
