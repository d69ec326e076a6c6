import * as os from 'node:os';
import * as path from 'node:path';
import type { SheetsConfig, SmsConfig } from './config.js';
import { csvAppend, csvSetCell, parseCell } from './csv.js';
import { expandHome } from './paths.js';

import { SetupError } from './errors.js';
import { answerExcerpt, hostFetch } from './hostfetch.js';

export { SetupError };

// Sheets and SMS answers are small JSON documents.
const answerLimit = 1024 * 1024;
const ask = (url: string, init: RequestInit) =>
    hostFetch(url, init, { limitBytes: answerLimit, timeoutMs: 60_000 });

export type Cell = string | number | boolean | null;

export function normaliseRows(input: unknown): string[][] {
    const cell = (v: unknown) =>
        v === null || v === undefined ? '' : typeof v === 'object' ? JSON.stringify(v) : String(v);
    const row = (r: unknown): string[] =>
        Array.isArray(r)
            ? r.map(cell)
            : r && typeof r === 'object'
              ? Object.values(r).map(cell)
              : [cell(r)];
    if (!Array.isArray(input)) throw new Error('"rows" must be a list of rows.');
    if (input.every((r) => !Array.isArray(r) && (r === null || typeof r !== 'object')))
        return [input.map(cell)];
    return input.map(row);
}

export function spreadsheetIdFrom(text: string | undefined): string | undefined {
    if (!text) return undefined;
    const m = /\/spreadsheets\/d\/([A-Za-z0-9_-]{10,})/.exec(text);
    if (m) return m[1];
    return /^[A-Za-z0-9_-]{10,}$/.test(text.trim()) ? text.trim() : undefined;
}

export interface SheetTarget {
    describe(): string;
    setCell(cell: string, value: string, sheet?: string): Promise<string>;
    append(rows: string[][], sheet?: string): Promise<string>;
}

export class CsvSheet implements SheetTarget {
    readonly file: string;
    constructor(name: string) {
        const p = expandHome(name);
        this.file = path.isAbsolute(p) ? p : path.join(process.env.HOME || os.homedir(), p);
    }
    describe() {
        return this.file;
    }
    async setCell(cell: string, value: string) {
        csvSetCell(this.file, cell, value);
        return `Wrote ${cell} in ${this.file}.`;
    }
    async append(rows: string[][]) {
        csvAppend(this.file, rows);
        return `Added ${rows.length} row${rows.length === 1 ? '' : 's'} to ${this.file}.`;
    }
}

export class GoogleSheet implements SheetTarget {
    private token: string | undefined;
    constructor(
        private readonly cfg: SheetsConfig,
        readonly spreadsheetId: string,
    ) {
        this.token = cfg.accessToken;
    }
    describe() {
        return `Google Sheet ${this.spreadsheetId}`;
    }

    private async accessToken(): Promise<string> {
        if (this.token) return this.token;
        const res = await ask(this.cfg.tokenUrl, {
            method: 'POST',
            headers: { 'content-type': 'application/x-www-form-urlencoded' },
            body: new URLSearchParams({
                grant_type: 'refresh_token',
                refresh_token: this.cfg.refreshToken!,
                client_id: this.cfg.clientId!,
                client_secret: this.cfg.clientSecret!,
            }),
        });
        if (!res.ok)
            throw new SetupError(
                `Google refused the Sheets refresh token (HTTP ${res.status}: ${await answerExcerpt(res)}).`,
            );
        const j = (await res.json()) as { access_token?: string };
        if (!j.access_token)
            throw new SetupError('Google answered the token refresh without an access token.');
        this.token = j.access_token;
        return this.token;
    }

    private async call(
        method: string,
        range: string,
        suffix: string,
        body: unknown,
    ): Promise<unknown> {
        const url = `${this.cfg.baseUrl}/v4/spreadsheets/${encodeURIComponent(this.spreadsheetId)}/values/${encodeURIComponent(range)}${suffix}`;
        const res = await ask(url, {
            method,
            headers: {
                authorization: `Bearer ${await this.accessToken()}`,
                'content-type': 'application/json',
            },
            body: JSON.stringify(body),
        });
        if (res.status === 401 || res.status === 403)
            throw new SetupError(
                `Google Sheets refused the token (HTTP ${res.status}: ${await answerExcerpt(res)}); renew it in the sheets section of the settings file.`,
            );
        if (!res.ok)
            throw new Error(
                `Google Sheets answered HTTP ${res.status}: ${await answerExcerpt(res)}`,
            );
        return res.json().catch(() => ({}));
    }

    async setCell(cell: string, value: string, sheet?: string) {
        if (!parseCell(cell)) throw new Error(`"${cell}" isn't a cell name like B3.`);
        const range = sheet ? `'${sheet.replace(/'/g, "''")}'!${cell.trim()}` : cell.trim();
        await this.call('PUT', range, '?valueInputOption=USER_ENTERED', {
            range,
            majorDimension: 'ROWS',
            values: [[value]],
        });
        return `Wrote ${range} in the sheet.`;
    }

    async append(rows: string[][], sheet?: string) {
        const range = sheet ? `'${sheet.replace(/'/g, "''")}'!A1` : 'A1';
        const r = (await this.call(
            'POST',
            range,
            ':append?valueInputOption=USER_ENTERED&insertDataOption=INSERT_ROWS',
            {
                range,
                majorDimension: 'ROWS',
                values: rows,
            },
        )) as { updates?: { updatedRange?: string } };
        return `Added ${rows.length} row${rows.length === 1 ? '' : 's'}${r?.updates?.updatedRange ? ' at ' + r.updates.updatedRange : ''}.`;
    }
}

export async function sendSms(cfg: SmsConfig, to: string, body: string): Promise<string> {
    if (!/^\+?[0-9 ()-]{5,20}$/.test(to.trim()))
        throw new Error(`"${to}" doesn't look like a phone number.`);
    const url = `${cfg.baseUrl}/2010-04-01/Accounts/${encodeURIComponent(cfg.accountSid)}/Messages.json`;
    const res = await ask(url, {
        method: 'POST',
        headers: {
            authorization:
                'Basic ' + Buffer.from(`${cfg.accountSid}:${cfg.authToken}`).toString('base64'),
            'content-type': 'application/x-www-form-urlencoded',
        },
        body: new URLSearchParams({ To: to.replace(/[ ()-]/g, ''), From: cfg.from, Body: body }),
    });
    if (res.status === 401 || res.status === 403)
        throw new SetupError(
            `The text service refused the account (HTTP ${res.status}: ${await answerExcerpt(res)}); check the sms section of the settings file.`,
        );
    if (!res.ok)
        throw new Error(
            `The text service answered HTTP ${res.status}: ${await answerExcerpt(res)}`,
        );
    const j = (await res.json().catch(() => ({}))) as { sid?: string; status?: string };
    return `Text sent${j.sid ? ' (' + j.sid + (j.status ? ', ' + j.status : '') + ')' : ''}.`;
}
