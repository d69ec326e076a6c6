import type Anthropic from '@anthropic-ai/sdk';
import type { RuntimeConfig } from './config.js';
import type { BrowserSession } from './browser.js';
import { BrowserError, HostError, NavigationError, RefusedError, SetupError } from './errors.js';
import { extractRows, readPage } from './pageread.js';
import { oneLine } from './protocol.js';
import { CsvSheet, GoogleSheet, normaliseRows, sendSms, spreadsheetIdFrom, type SheetTarget } from './services.js';
import type { Skill } from './skill.js';
import { webAddress } from './weburl.js';

export interface ToolOutcome {
  content: string;
  isError?: boolean;
  finish?: { summary: string; success: boolean };
}

type Input = Record<string, unknown>;

export const toolDefinitions: Anthropic.Tool[] = [
  {
    name: 'open',
    description: "Navigate the browser to a URL (the user's own browser, already signed in to their sites). Waits for the page to load.",
    input_schema: { type: 'object', properties: { url: { type: 'string', description: 'absolute http(s) URL' } }, required: ['url'] },
  },
  {
    name: 'read',
    description: "Read the current page: its title, visible text, form fields and links. Use it to find ONE value described by the prompt. Password fields are never shown.",
    input_schema: { type: 'object', properties: { prompt: { type: 'string', description: 'which value to look for' } }, required: ['prompt'] },
  },
  {
    name: 'extract',
    description:
      'Pull repeating rows (a table or list) off the current page. "rows" describes the rows or is a CSS selector for them; "fields" names the columns wanted. Returns one object per row.',
    input_schema: {
      type: 'object',
      properties: { rows: { type: 'string' }, fields: { type: 'array', items: { type: 'string' } } },
      required: ['rows', 'fields'],
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
        sheet: { type: 'string', description: 'tab name, optional' },
        spreadsheet_id: { type: 'string', description: 'Google Sheet id or link, optional' },
      },
      required: ['cell', 'value'],
    },
  },
  {
    name: 'sheets_append',
    description: "Append rows at the end of the skill's sheet. Each row is a list of cell values.",
    input_schema: {
      type: 'object',
      properties: {
        rows: { type: 'array', items: { type: 'array', items: { type: ['string', 'number', 'boolean', 'null'] } } },
        sheet: { type: 'string', description: 'tab name, optional' },
        spreadsheet_id: { type: 'string', description: 'Google Sheet id or link, optional' },
      },
      required: ['rows'],
    },
  },
  {
    name: 'notify_sms',
    description: 'Send a text message.',
    input_schema: {
      type: 'object',
      properties: { to: { type: 'string', description: 'phone number in international form' }, body: { type: 'string' } },
      required: ['to', 'body'],
    },
  },
  {
    name: 'finish',
    description: 'End the run: when the task is done, or when it is truly blocked (then success is false and the summary says why).',
    input_schema: {
      type: 'object',
      properties: { summary: { type: 'string', description: 'one short sentence for the user' }, success: { type: 'boolean' } },
      required: ['summary'],
    },
  },
];

const s = (v: unknown) => (typeof v === 'string' ? v : v === undefined || v === null ? '' : String(v));

// What follows the tool name on the "→" line: short, one line, nothing secret.
export function describeCall(name: string, input: Input): string {
  switch (name) {
    case 'open':
      return s(input.url);
    case 'read':
      return oneLine(s(input.prompt), 80);
    case 'extract':
      return oneLine(`${s(input.rows)}${Array.isArray(input.fields) ? ' fields=' + input.fields.map(s).join(',') : ''}`, 120);
    case 'sheets_set_cell':
      return s(input.cell);
    case 'sheets_append':
      return `rows=${Array.isArray(input.rows) ? input.rows.length : 0}`;
    case 'notify_sms':
      return `to=${s(input.to)}`;
    default:
      return '';
  }
}

export class Toolbelt {
  private session: BrowserSession | null = null;

  constructor(
    private readonly config: RuntimeConfig,
    private readonly skill: Skill,
    private readonly browser: () => Promise<BrowserSession>,
    private readonly log: (...a: unknown[]) => void,
  ) {}

  private async browserSession() {
    this.session ??= await this.browser();
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
        throw new SetupError(`No spreadsheet to write to: set "spreadsheet_id" in the sheets section of ${this.config.file}, or put the Google Sheet's link in the skill.`);
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
      if ([SetupError, BrowserError, RefusedError, HostError].some((c) => e instanceof c) || !(e instanceof Error)) throw e;
      this.log(`tool ${name} failed:`, e.message);
      return { content: e.message, isError: true };
    }
  }

  private async dispatch(name: string, input: Input): Promise<ToolOutcome> {
    switch (name) {
      case 'open': {
        const url = s(input.url).trim();
        const address = webAddress(url);
        if (!('url' in address)) throw new RefusedError(`Tavrik didn't open "${oneLine(url, 120)}": it opens only http and https addresses.`);
        const session = await this.browserSession();
        try {
          const page = await session.open(address.url.href);
          return { content: JSON.stringify({ url: page.url(), title: await page.title() }) };
        } catch (e) {
          if (e instanceof NavigationError) return { content: e.message, isError: true };
          throw e;
        }
      }
      case 'read':
      case 'extract': {
        const page = this.session?.current();
        if (!this.session || !page) return { content: 'No page is open yet: call open first.', isError: true };
        const session = this.session;
        await session.settle(page);
        if (name === 'read') return { content: JSON.stringify(await readPage(page)) };
        const fields = Array.isArray(input.fields) ? input.fields.map(s).filter(Boolean) : [];
        const result = await extractRows(page, s(input.rows), fields);
        return { content: JSON.stringify(result) };
      }
      case 'sheets_set_cell': {
        const target = this.sheet(s(input.spreadsheet_id) || undefined);
        return { content: await target.setCell(s(input.cell), s(input.value), s(input.sheet) || undefined) };
      }
      case 'sheets_append': {
        const rows = normaliseRows(input.rows);
        if (!rows.length) return { content: 'There were no rows to add.', isError: true };
        const target = this.sheet(s(input.spreadsheet_id) || undefined);
        return { content: await target.append(rows, s(input.sheet) || undefined) };
      }
      case 'notify_sms': {
        const cfg = this.config.sms;
        if (!cfg)
          throw new SetupError(`Texting isn't set up: add an "sms" section with account_sid, auth_token and from to ${this.config.file}.`);
        if (!s(input.body).trim()) return { content: 'The message is empty.', isError: true };
        return { content: await sendSms(cfg, s(input.to), s(input.body)) };
      }
      case 'finish':
        return { content: 'ok', finish: { summary: s(input.summary).trim() || 'Done.', success: input.success !== false } };
      default:
        return { content: `There is no tool called ${name}.`, isError: true };
    }
  }
}
