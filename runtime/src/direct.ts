import type { OpenedTab } from './cdp.js';
import type { Output } from './protocol.js';
import { allURLTemplates, type Skill } from './skill.js';
import { fill } from './template.js';
import { webAddress } from './weburl.js';

export class DirectError extends Error {}

// The addresses a direct skill opens, in order, with its values filled in.
export function directUrls(skill: Skill, values: Record<string, string>): string[] {
    return allURLTemplates(skill.runtime!).map((t) => {
        const { text, missing } = fill(t, values);
        if (missing.length)
            throw new DirectError(
                `No value for ${missing.map((m) => `{{${m}}}`).join(', ')}: pass ${missing[0]}=VALUE.`,
            );
        const address = webAddress(text);
        if ('url' in address) return address.url.href;
        if (address.problem === 'not-absolute')
            throw new DirectError(`The skill's address "${text}" isn't a full web address.`);
        throw new DirectError(
            `The skill's address "${text}" isn't a web page: Tavrik opens only http and https addresses.`,
        );
    });
}

export async function runDirect(
    skill: Skill,
    urls: string[],
    open: (url: string) => Promise<OpenedTab>,
    out: Output,
): Promise<void> {
    let title = '';
    for (const url of urls) {
        out.tool('open', url);
        title = (await open(url)).title;
    }
    out.success(
        urls.length === 1
            ? `Opened ${title || urls[0]}`
            : `Opened ${urls.length} pages for ${skill.name}`,
    );
}
