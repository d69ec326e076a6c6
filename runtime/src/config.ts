import * as fs from 'node:fs';
import { MiB, readDataFile } from './datafile.js';
import { paths } from './paths.js';

export interface SheetsConfig {
    accessToken?: string;
    refreshToken?: string;
    clientId?: string;
    clientSecret?: string;
    tokenUrl: string;
    spreadsheetId?: string;
    baseUrl: string;
}

export interface SmsConfig {
    accountSid: string;
    authToken: string;
    from: string;
    baseUrl: string;
}

export interface BrowserConfig {
    executable?: string;
    headless: boolean;
    sandbox: boolean;
    cdpUrl?: string;
    loadTimeoutMs: number;
    startTimeoutMs: number;
}

export interface RuntimeConfig {
    file: string;
    model: string;
    maxSteps: number;
    tokenBudget: number;
    maxTokensPerTurn: number;
    browser: BrowserConfig;
    sheets?: SheetsConfig;
    sms?: SmsConfig;
}

export class ConfigError extends Error {}

export const defaultModel = 'claude-sonnet-4-6';

export const template = {
    model: defaultModel,
    max_steps: 40,
    token_budget: 400000,
    browser: {
        executable: '/usr/bin/chromium',
        headless: false,
        cdp_url: '',
        load_timeout_ms: 30000,
    },
    sheets: {
        access_token: '',
        refresh_token: '',
        client_id: '',
        client_secret: '',
        spreadsheet_id: '',
    },
    sms: { account_sid: '', auth_token: '', from: '' },
};

type Obj = Record<string, unknown>;

function str(o: Obj | undefined, key: string): string | undefined {
    const v = o?.[key];
    return typeof v === 'string' && v.trim() ? v.trim() : undefined;
}

function num(o: Obj | undefined, key: string, file: string): number | undefined {
    const v = o?.[key];
    if (v === undefined || v === null || v === '') return undefined;
    const n = typeof v === 'number' ? v : Number(v);
    if (!Number.isFinite(n) || n <= 0)
        throw new ConfigError(`"${key}" in ${file} must be a positive number.`);
    return Math.floor(n);
}

function section(o: Obj, key: string, file: string): Obj | undefined {
    const v = o[key];
    if (v === undefined || v === null) return undefined;
    if (typeof v !== 'object' || Array.isArray(v))
        throw new ConfigError(`"${key}" in ${file} must be an object.`);
    return v as Obj;
}

// The file holds tokens: it must stay readable by its owner only.
function tighten(file: string, log: (...a: unknown[]) => void) {
    try {
        const st = fs.statSync(file);
        if ((st.mode & 0o077) !== 0) {
            fs.chmodSync(file, 0o600);
            log(`made ${file} readable by its owner only`);
        }
    } catch (e) {
        log('could not check the mode of', file, (e as Error).message);
    }
}

export function loadConfig(
    support: string,
    env: NodeJS.ProcessEnv,
    log: (...a: unknown[]) => void,
): RuntimeConfig {
    const file = paths.configFile(support);
    let raw: Obj = {};
    let text: string | null = null;
    try {
        text = readDataFile(file, MiB);
    } catch (e) {
        if ((e as NodeJS.ErrnoException).code !== 'ENOENT')
            throw new ConfigError(`Couldn't read ${file}: ${(e as Error).message}`);
    }
    if (text !== null) {
        tighten(file, log);
        try {
            raw = JSON.parse(text);
        } catch (e) {
            throw new ConfigError(`${file} isn't valid JSON: ${(e as Error).message}`);
        }
        if (!raw || typeof raw !== 'object' || Array.isArray(raw))
            throw new ConfigError(`${file} must hold a JSON object.`);
    }
    const b = section(raw, 'browser', file);
    const s = section(raw, 'sheets', file);
    const m = section(raw, 'sms', file);
    const envNum = (name: string) => num(env as Obj, name, 'the environment');

    const headlessEnv = env.TAVRIK_BROWSER_HEADLESS;
    const browser: BrowserConfig = {
        executable: env.TAVRIK_BROWSER?.trim() || str(b, 'executable'),
        headless:
            headlessEnv !== undefined && headlessEnv !== ''
                ? headlessEnv !== '0'
                : b?.headless === true,
        sandbox: env.TAVRIK_BROWSER_NO_SANDBOX === '1' ? false : b?.sandbox !== false,
        cdpUrl: env.TAVRIK_BROWSER_CDP_URL?.trim() || str(b, 'cdp_url'),
        loadTimeoutMs: num(b, 'load_timeout_ms', file) ?? 30000,
        startTimeoutMs: num(b, 'start_timeout_ms', file) ?? 20000,
    };

    let sheets: SheetsConfig | undefined;
    if (s) {
        const accessToken = str(s, 'access_token');
        const refreshToken = str(s, 'refresh_token');
        if (accessToken || refreshToken) {
            sheets = {
                accessToken,
                refreshToken,
                clientId: str(s, 'client_id'),
                clientSecret: str(s, 'client_secret'),
                tokenUrl: str(s, 'token_url') ?? 'https://oauth2.googleapis.com/token',
                spreadsheetId: str(s, 'spreadsheet_id'),
                baseUrl: (str(s, 'base_url') ?? 'https://sheets.googleapis.com').replace(
                    /\/+$/,
                    '',
                ),
            };
            if (!accessToken && (!sheets.clientId || !sheets.clientSecret))
                throw new ConfigError(
                    `"sheets" in ${file} has a refresh_token but no client_id and client_secret.`,
                );
        }
    }

    let sms: SmsConfig | undefined;
    if (m) {
        const accountSid = str(m, 'account_sid');
        const authToken = str(m, 'auth_token');
        const from = str(m, 'from');
        if (accountSid || authToken || from) {
            if (!accountSid || !authToken || !from)
                throw new ConfigError(`"sms" in ${file} needs account_sid, auth_token and from.`);
            sms = {
                accountSid,
                authToken,
                from,
                baseUrl: (str(m, 'base_url') ?? 'https://api.twilio.com').replace(/\/+$/, ''),
            };
        }
    }

    return {
        file,
        model: env.TAVRIK_MODEL?.trim() || str(raw, 'model') || defaultModel,
        maxSteps: envNum('TAVRIK_MAX_STEPS') ?? num(raw, 'max_steps', file) ?? 40,
        tokenBudget: envNum('TAVRIK_TOKEN_BUDGET') ?? num(raw, 'token_budget', file) ?? 400000,
        maxTokensPerTurn: num(raw, 'max_tokens_per_turn', file) ?? 4096,
        browser,
        sheets,
        sms,
    };
}

// Writes a commented-by-example file for the user to fill in; never overwrites one.
export function writeTemplate(support: string): { file: string; created: boolean } {
    const file = paths.configFile(support);
    fs.mkdirSync(support, { recursive: true });
    try {
        const fd = fs.openSync(file, 'wx', 0o600);
        fs.writeSync(fd, JSON.stringify(template, null, 2) + '\n');
        fs.closeSync(fd);
        return { file, created: true };
    } catch (e) {
        if ((e as NodeJS.ErrnoException).code === 'EEXIST') return { file, created: false };
        throw e;
    }
}
