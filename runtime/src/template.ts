// Placeholders look like {{name}} or {{name|urlencode}}; filters apply left to right. A name is
// made of Unicode letters (with their combining marks), digits and "_", as the core fills them.
const placeholder = /\{\{\s*([\p{L}_][\p{L}\p{M}\p{N}_]*)\s*((?:\|\s*[A-Za-z_]+\s*)*)\}\}/gu;

const filters: Record<string, (v: string) => string> = {
    urlencode: (v) => encodeURIComponent(v),
    trim: (v) => v.trim(),
    lower: (v) => v.toLowerCase(),
    upper: (v) => v.toUpperCase(),
};

export interface FillResult {
    text: string;
    missing: string[];
    unknownFilters: string[];
}

export function fill(template: string, values: Record<string, string>): FillResult {
    const missing: string[] = [];
    const unknownFilters: string[] = [];
    const text = template.replace(placeholder, (whole, name: string, chain: string) => {
        if (!Object.prototype.hasOwnProperty.call(values, name)) {
            missing.push(name);
            return whole;
        }
        let v = values[name];
        for (const f of chain
            .split('|')
            .map((s) => s.trim())
            .filter(Boolean)) {
            const fn = filters[f.toLowerCase()];
            if (fn) v = fn(v);
            else unknownFilters.push(f);
        }
        return v;
    });
    return { text, missing, unknownFilters };
}

export class ArgumentError extends Error {}

export function parseArguments(args: string[]): Record<string, string> {
    const out: Record<string, string> = {};
    for (const a of args) {
        const i = a.indexOf('=');
        if (i <= 0) throw new ArgumentError(`The argument "${a}" isn't of the form name=value.`);
        out[a.slice(0, i)] = a.slice(i + 1);
    }
    return out;
}

// Values the user gave win; parameters they left out run with the example from the demonstration.
export function runValues(
    params: { name: string; exampleValue: string }[],
    given: Record<string, string>,
): Record<string, string> {
    const out: Record<string, string> = {};
    for (const p of params) out[p.name] = p.exampleValue;
    return Object.assign(out, given);
}
