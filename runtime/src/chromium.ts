import { spawn } from 'node:child_process';
import * as fs from 'node:fs';
import * as http from 'node:http';
import * as path from 'node:path';
import type { BrowserConfig } from './config.js';
import { KiB, readDataFile } from './datafile.js';
import { BrowserError } from './errors.js';

const candidates = [
    '/usr/bin/chromium',
    '/usr/bin/chromium-browser',
    '/usr/bin/google-chrome',
    '/usr/bin/google-chrome-stable',
];

export function findExecutable(configured?: string): string {
    if (configured) {
        if (fs.existsSync(configured)) return configured;
        throw new BrowserError(`The browser ${configured} named in the settings doesn't exist.`);
    }
    const found = candidates.find((c) => fs.existsSync(c));
    if (!found)
        throw new BrowserError('No Chromium or Chrome found: install the chromium package.');
    return found;
}

export function launchArgs(
    profile: string,
    headless: boolean,
    sandbox = process.getuid?.() !== 0,
): string[] {
    const args = [
        `--user-data-dir=${profile}`,
        '--remote-debugging-port=0',
        '--remote-debugging-address=127.0.0.1',
        '--no-first-run',
        '--no-default-browser-check',
        '--disable-gpu',
        '--disable-background-networking',
        '--disable-component-update',
        '--disable-sync',
    ];
    // Chromium refuses to start as root with its sandbox on; some containers cannot give it one either.
    if (!sandbox) args.push('--no-sandbox');
    if (headless) args.push('--headless=new');
    args.push('about:blank');
    return args;
}

export function readActivePort(profile: string): number | null {
    try {
        const first = readDataFile(path.join(profile, 'DevToolsActivePort'), 4 * KiB)
            .split('\n')[0]
            .trim();
        const port = Number(first);
        return Number.isInteger(port) && port > 0 && port < 65536 ? port : null;
    } catch {
        return null;
    }
}

// Answers only when a DevTools endpoint really listens there (a stale port file is common after a crash).
export function probe(port: number, timeoutMs = 800): Promise<string | null> {
    return new Promise((resolve) => {
        const req = http.get(
            { host: '127.0.0.1', port, path: '/json/version', timeout: timeoutMs },
            (res) => {
                let body = '';
                res.setEncoding('utf8');
                res.on('data', (c) => {
                    body += c;
                    if (body.length > 64 * 1024) {
                        req.destroy();
                        resolve(null);
                    }
                });
                res.on('end', () => {
                    try {
                        const ws = JSON.parse(body).webSocketDebuggerUrl;
                        resolve(typeof ws === 'string' ? ws : null);
                    } catch {
                        resolve(null);
                    }
                });
            },
        );
        req.on('timeout', () => req.destroy());
        req.on('error', () => resolve(null));
    });
}

const sleep = (ms: number) => new Promise((r) => setTimeout(r, ms));

export interface Launched {
    pid: number;
    port: number;
}

// The browser is the user's: it is started on its own, outlives this run, and is reused by the next one.
export async function launchBrowser(
    cfg: BrowserConfig,
    profile: string,
    log: (...a: unknown[]) => void,
): Promise<Launched> {
    const exe = findExecutable(cfg.executable);
    if (!cfg.headless && !process.env.DISPLAY && !process.env.WAYLAND_DISPLAY)
        throw new BrowserError(
            'There is no display to show the browser on: run Tavrik in a desktop session, or set "headless" in the browser settings.',
        );
    fs.mkdirSync(profile, { recursive: true, mode: 0o700 });
    fs.rmSync(path.join(profile, 'DevToolsActivePort'), { force: true });
    const args = launchArgs(profile, cfg.headless, cfg.sandbox && process.getuid?.() !== 0);
    log('launching', exe, args.join(' '));
    const child = spawn(exe, args, { detached: true, stdio: 'ignore' });
    let exited: number | null = null;
    let spawnError: Error | null = null;
    child.on('exit', (code) => (exited = code ?? -1));
    child.on('error', (e) => (spawnError = e));
    child.unref();
    const deadline = Date.now() + cfg.startTimeoutMs;
    while (Date.now() < deadline) {
        if (spawnError)
            throw new BrowserError(`Couldn't start the browser: ${(spawnError as Error).message}`);
        const port = readActivePort(profile);
        if (port && (await probe(port))) return { pid: child.pid!, port };
        if (exited !== null) {
            // A Chromium already holding this profile without remote control takes the launch over and we exit at once.
            throw new BrowserError(
                exited === 0
                    ? "Tavrik's browser is already open without remote control: close it and run the skill again."
                    : `The browser quit while starting (status ${exited}).`,
            );
        }
        await sleep(50);
    }
    throw new BrowserError(
        `The browser didn't start within ${Math.round(cfg.startTimeoutMs / 1000)} s.`,
    );
}

// The DevTools address of Tavrik's browser: the configured one, the running one, or a newly started one.
export async function browserEndpoint(
    cfg: BrowserConfig,
    profile: string,
    log: (...a: unknown[]) => void,
    onLaunch: () => void,
): Promise<string> {
    if (cfg.cdpUrl) return cfg.cdpUrl.replace(/\/+$/, '');
    const port = readActivePort(profile);
    if (port && (await probe(port))) {
        log('reusing the browser on port', port);
        return `http://127.0.0.1:${port}`;
    }
    onLaunch();
    const launched = await launchBrowser(cfg, profile, log);
    log('browser started, pid', launched.pid, 'port', launched.port);
    return `http://127.0.0.1:${launched.port}`;
}

export function firstLine(e: unknown): string {
    const msg = e instanceof Error ? e.message : String(e);
    return msg.split('\n')[0].replace(/^page\.goto: /, '');
}
