import type Anthropic from '@anthropic-ai/sdk';
import type { RuntimeConfig } from './config.js';
import type { BrowserSession } from './browser.js';
import { BrowserError, HostError, NavigationError, RefusedError, SetupError } from './errors.js';
import { extractRows, readPage } from './pageread.js';
import { oneLine } from './protocol.js';
import {
    CsvSheet,
    GoogleSheet,
    normaliseRows,
    sendSms,
    spreadsheetIdFrom,
    type SheetTarget,
} from './services.js';
import type { Skill } from './skill.js';
import { webAddress } from './weburl.js';

export interface ToolOutcome {
    content: string;
    isError?: boolean;
    finish?: { summary: string; success: boolean };
}

type Input = Record<string, unknown>;

// What a handler may use of the run it serves.
interface ToolContext {
    readonly config: RuntimeConfig;
    browserSession(): Promise<BrowserSession>;
    currentSession(): BrowserSession | null;
    sheet(spreadsheet?: string): SheetTarget;
}

interface AgentTool extends Anthropic.Tool {
    // What follows the tool name on the "→" line: short, one line, nothing secret.
    describe?: (input: Input) => string;
    handle: (tools: ToolContext, input: Input) => Promise<ToolOutcome>;
}

const s = (v: unknown) =>
    typeof v === 'string' ? v : v === undefined || v === null ? '' : String(v);

const optionalSheet = {
    sheet: { type: 'string', description: 'tab name, optional' },
    spreadsheet_id: { type: 'string', description: 'Google Sheet id or link, optional' },
};

// read and extract look at the page open already; they never start the browser themselves.
async function settledPage(tools: ToolContext) {
    const session = tools.currentSession();
    const page = session?.current();
    if (!session || !page) return null;
    await session.settle(page);
    return page;
}
const noPageYet = (): ToolOutcome => ({
    content: 'No page is open yet: call open first.',
    isError: true,
});

const agentTools: AgentTool[] = [
    {
        name: 'open',
        description:
            "Navigate the browser to a URL (the user's own browser, already signed in to their sites). Waits for the page to load.",
        input_schema: {
            type: 'object',
            properties: { url: { type: 'string', description: 'absolute http(s) URL' } },
            required: ['url'],
        },
        describe: (input) => s(input.url),
        async handle(tools, input) {
            const url = s(input.url).trim();
            const address = webAddress(url);
            if (!('url' in address))
                throw new RefusedError(
                    `Tavrik didn't open "${oneLine(url, 120)}": it opens only http and https addresses.`,
                );
            const session = await tools.browserSession();
            try {
                const page = await session.open(address.url.href);
                return { content: JSON.stringify({ url: page.url(), title: await page.title() }) };
            } catch (e) {
                if (e instanceof NavigationError) return { content: e.message, isError: true };
                throw e;
            }
        },
    },
    {
        name: 'read',
        description:
            'Read the current page: its title, visible text, form fields and links. Use it to find ONE value described by the prompt. Password fields are never shown.',
        input_schema: {
            type: 'object',
            properties: { prompt: { type: 'string', description: 'which value to look for' } },
            required: ['prompt'],
        },
        describe: (input) => oneLine(s(input.prompt), 80),
        async handle(tools) {
            const page = await settledPage(tools);
            if (!page) return noPageYet();
            return { content: JSON.stringify(await readPage(page)) };
        },
    },
    {
        name: 'extract',
        description:
            'Pull repeating rows (a table or list) off the current page. "rows" describes the rows or is a CSS selector for them; "fields" names the columns wanted. Returns one object per row.',
        input_schema: {
            type: 'object',
            properties: {
                rows: { type: 'string' },
                fields: { type: 'array', items: { type: 'string' } },
            },
            required: ['rows', 'fields'],
        },
        describe: (input) =>
            oneLine(
                `${s(input.rows)}${Array.isArray(input.fields) ? ' fields=' + input.fields.map(s).join(',') : ''}`,
                120,
            ),
        async handle(tools, input) {
            const page = await settledPage(tools);
            if (!page) return noPageYet();
            const fields = Array.isArray(input.fields) ? input.fields.map(s).filter(Boolean) : [];
            return { content: JSON.stringify(await extractRows(page, s(input.rows), fields)) };
        },
    },
    {
        name: 'sheets_set_cell',
        description: "Write one value to one cell (A1 notation) of the skill's sheet.",
        input_schema: {
            type: 'object',
            properties: {
                cell: { type: 'string', description: 'for example B3' },
                value: { type: 'string' },
                ...optionalSheet,
            },
            required: ['cell', 'value'],
        },
        describe: (input) => s(input.cell),
        async handle(tools, input) {
            const target = tools.sheet(s(input.spreadsheet_id) || undefined);
            return {
                content: await target.setCell(
                    s(input.cell),
                    s(input.value),
                    s(input.sheet) || undefined,
                ),
            };
        },
    },
    {
        name: 'sheets_append',
        description:
            "Append rows at the end of the skill's sheet. Each row is a list of cell values.",
        input_schema: {
            type: 'object',
            properties: {
                rows: {
                    type: 'array',
                    items: {
                        type: 'array',
                        items: { type: ['string', 'number', 'boolean', 'null'] },
                    },
                },
                ...optionalSheet,
            },
            required: ['rows'],
        },
        describe: (input) => `rows=${Array.isArray(input.rows) ? input.rows.length : 0}`,
        async handle(tools, input) {
            const rows = normaliseRows(input.rows);
            if (!rows.length) return { content: 'There were no rows to add.', isError: true };
            const target = tools.sheet(s(input.spreadsheet_id) || undefined);
            return { content: await target.append(rows, s(input.sheet) || undefined) };
        },
    },
    {
        name: 'notify_sms',
        description: 'Send a text message.',
        input_schema: {
            type: 'object',
            properties: {
                to: { type: 'string', description: 'phone number in international form' },
                body: { type: 'string' },
            },
            required: ['to', 'body'],
        },
        describe: (input) => `to=${s(input.to)}`,
        async handle(tools, input) {
            const cfg = tools.config.sms;
            if (!cfg)
                throw new SetupError(
                    `Texting isn't set up: add an "sms" section with account_sid, auth_token and from to ${tools.config.file}.`,
                );
            if (!s(input.body).trim()) return { content: 'The message is empty.', isError: true };
            return { content: await sendSms(cfg, s(input.to), s(input.body)) };
        },
    },
    {
        name: 'finish',
        description:
            'End the run: when the task is done, or when it is truly blocked (then success is false and the summary says why).',
        input_schema: {
            type: 'object',
            properties: {
                summary: { type: 'string', description: 'one short sentence for the user' },
                success: { type: 'boolean' },
            },
            required: ['summary'],
        },
        async handle(_tools, input) {
            return {
                content: 'ok',
                finish: {
                    summary: s(input.summary).trim() || 'Done.',
                    success: input.success !== false,
                },
            };
        },
    },
];

const byName = new Map(agentTools.map((tool) => [tool.name, tool]));

// The list the model is offered: the table without its handlers.
export const toolDefinitions: Anthropic.Tool[] = agentTools.map(
    ({ name, description, input_schema }) => ({ name, description, input_schema }),
);

export function describeCall(name: string, input: Input): string {
    return byName.get(name)?.describe?.(input) ?? '';
}

export class Toolbelt implements ToolContext {
    private session: BrowserSession | null = null;

    constructor(
        readonly config: RuntimeConfig,
        private readonly skill: Skill,
        private readonly browser: () => Promise<BrowserSession>,
        private readonly log: (...a: unknown[]) => void,
    ) {}

    async browserSession(): Promise<BrowserSession> {
        this.session ??= await this.browser();
        return this.session;
    }

    currentSession(): BrowserSession | null {
        return this.session;
    }

    sheet(spreadsheet?: string): SheetTarget {
        const cfg = this.config.sheets;
        if (cfg) {
            const id =
                spreadsheetIdFrom(spreadsheet) ??
                cfg.spreadsheetId ??
                spreadsheetIdFrom(this.skill.spreadsheet) ??
                spreadsheetIdFrom(this.skill.markdown);
            if (!id)
                throw new SetupError(
                    `No spreadsheet to write to: set "spreadsheet_id" in the sheets section of ${this.config.file}, or put the Google Sheet's link in the skill.`,
                );
            return new GoogleSheet(cfg, id);
        }
        if (this.skill.csv) return new CsvSheet(this.skill.csv);
        throw new SetupError(
            `No sheet is set up: add a Google Sheets token to the "sheets" section of ${this.config.file}, or name a CSV file in the skill with a "csv:" line.`,
        );
    }

    // Failures the agent can work around come back as tool errors; set-up, browser, refused-address and
    // misbehaving-host failures end the run.
    async run(name: string, input: Input): Promise<ToolOutcome> {
        try {
            return await this.dispatch(name, input ?? {});
        } catch (e) {
            if (
                [SetupError, BrowserError, RefusedError, HostError].some((c) => e instanceof c) ||
                !(e instanceof Error)
            )
                throw e;
            this.log(`tool ${name} failed:`, e.message);
            return { content: e.message, isError: true };
        }
    }

    private async dispatch(name: string, input: Input): Promise<ToolOutcome> {
        const tool = byName.get(name);
        if (!tool) return { content: `There is no tool called ${name}.`, isError: true };
        return tool.handle(this, input);
    }
}
