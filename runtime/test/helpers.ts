import { spawn } from 'node:child_process';
import * as fs from 'node:fs';
import * as http from 'node:http';
import type { AddressInfo } from 'node:net';
import * as os from 'node:os';
import * as path from 'node:path';
import { fileURLToPath } from 'node:url';
import { launchBrowser } from '../src/chromium.js';

export const runtimeDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');
const cli = path.join(runtimeDir, 'src', 'cli.ts');
// `npm test` builds first; the built program is what the application runs from a package.
const built = path.join(runtimeDir, 'dist', 'cli.js');

export interface Home {
    root: string;
    support: string;
    env: NodeJS.ProcessEnv;
    cleanup(): void;
}

// A throwaway home and data folder, and an environment with nothing of the developer's own.
export function tempHome(extra: NodeJS.ProcessEnv = {}): Home {
    const root = fs.mkdtempSync(path.join(os.tmpdir(), 'tavrik-rt-'));
    const support = path.join(root, 'data', 'Tavrik');
    fs.mkdirSync(support, { recursive: true });
    const env: NodeJS.ProcessEnv = {
        PATH: process.env.PATH,
        HOME: root,
        XDG_DATA_HOME: path.join(root, 'data'),
        TAVRIK_BROWSER_HEADLESS: '1',
        TAVRIK_BROWSER_NO_SANDBOX: '1',
        // Direct skills in the runtime's own headless browser, which tests can watch.
        TAVRIK_DIRECT_BROWSER: 'tavrik',
        ...extra,
    };
    return { root, support, env, cleanup: () => fs.rmSync(root, { recursive: true, force: true }) };
}

export function writeSkill(root: string, markdown: string, plan?: unknown): string {
    const dir = fs.mkdtempSync(path.join(root, 'skill-'));
    fs.writeFileSync(path.join(dir, 'SKILL.md'), markdown);
    if (plan !== undefined)
        fs.writeFileSync(path.join(dir, 'execution_plan.json'), JSON.stringify(plan, null, 2));
    return dir;
}

export function writeConfig(support: string, config: unknown) {
    fs.writeFileSync(path.join(support, 'runtime.json'), JSON.stringify(config, null, 2), {
        mode: 0o600,
    });
}

export interface RunResult {
    code: number | null;
    signal: NodeJS.Signals | null;
    stdout: string;
    stderr: string;
    lines: string[];
    pid: number;
}

export interface Running {
    child: ReturnType<typeof spawn>;
    lines: string[];
    waitForLine(pred: (l: string) => boolean, timeoutMs?: number): Promise<string>;
    done: Promise<RunResult>;
}

// Started as its own process group, like the application starts it, so a test can see what it leaves behind.
// "npx" starts it the way the application starts a development runtime: npx tsx src/cli.ts.
export function startCli(
    args: string[],
    env: NodeJS.ProcessEnv,
    via: 'node' | 'npx' = 'node',
): Running {
    const [exe, pre] =
        via === 'npx'
            ? ['npx', ['tsx', cli]]
            : [process.execPath, fs.existsSync(built) ? [built] : ['--import', 'tsx', cli]];
    const child = spawn(exe, [...pre, ...args], {
        cwd: runtimeDir,
        env,
        detached: true,
        stdio: ['ignore', 'pipe', 'pipe'],
    });
    let stdout = '';
    let stderr = '';
    const lines: string[] = [];
    const waiters: { pred: (l: string) => boolean; resolve: (l: string) => void }[] = [];
    child.stdout!.setEncoding('utf8').on('data', (d: string) => {
        stdout += d;
        const parts = stdout.split('\n');
        for (const l of parts.slice(lines.length, -1)) {
            lines.push(l);
            for (const w of waiters.filter((w) => w.pred(l))) {
                waiters.splice(waiters.indexOf(w), 1);
                w.resolve(l);
            }
        }
    });
    child.stderr!.setEncoding('utf8').on('data', (d: string) => (stderr += d));
    const done = new Promise<RunResult>((resolve) =>
        child.on('close', (code, signal) =>
            resolve({
                code,
                signal,
                stdout,
                stderr,
                lines: stdout.split('\n').filter(Boolean),
                pid: child.pid!,
            }),
        ),
    );
    return {
        child,
        lines,
        done,
        waitForLine(pred, timeoutMs = 20000) {
            const seen = lines.find(pred);
            if (seen) return Promise.resolve(seen);
            return new Promise((resolve, reject) => {
                const t = setTimeout(
                    () => reject(new Error(`no such line; saw: ${JSON.stringify(lines)}`)),
                    timeoutMs,
                );
                waiters.push({ pred, resolve: (l) => (clearTimeout(t), resolve(l)) });
            });
        },
    };
}

export function runCli(args: string[], env: NodeJS.ProcessEnv): Promise<RunResult> {
    return startCli(args, env).done;
}

export interface Request {
    method: string;
    url: string;
    headers: http.IncomingHttpHeaders;
    body: string;
}

export interface Server {
    url: string;
    requests: Request[];
    close(): Promise<void>;
}

type Handler = (req: Request, res: http.ServerResponse) => void | Promise<void>;

export async function serve(handler: Handler): Promise<Server> {
    const requests: Request[] = [];
    const server = http.createServer((req, res) => {
        let body = '';
        req.setEncoding('utf8');
        req.on('data', (c) => (body += c));
        req.on('end', () => {
            const r = { method: req.method!, url: req.url!, headers: req.headers, body };
            requests.push(r);
            Promise.resolve(handler(r, res)).catch((e) => {
                res.statusCode = 500;
                res.end(String(e));
            });
        });
    });
    await new Promise<void>((r) => server.listen(0, '127.0.0.1', r));
    const port = (server.address() as AddressInfo).port;
    return {
        url: `http://127.0.0.1:${port}`,
        requests,
        close: () =>
            new Promise<void>((r) => {
                server.closeAllConnections();
                server.close(() => r());
            }),
    };
}

export function json(res: http.ServerResponse, status: number, body: unknown) {
    res.writeHead(status, { 'content-type': 'application/json' });
    res.end(JSON.stringify(body));
}

export function html(res: http.ServerResponse, body: string) {
    res.writeHead(200, { 'content-type': 'text/html; charset=utf-8' });
    res.end(body);
}

// One headless Chromium per test file, a child of the test process, found by the runtime as "already running".
export async function startBrowser(
    support: string,
): Promise<{ pid: number; port: number; stop(): void }> {
    const launched = await launchBrowser(
        { headless: true, sandbox: false, loadTimeoutMs: 15000, startTimeoutMs: 20000 },
        path.join(support, 'browser'),
        () => {},
    );
    return {
        ...launched,
        stop() {
            try {
                process.kill(-launched.pid, 'SIGKILL');
            } catch {
                // already gone
            }
        },
    };
}

export function alive(pid: number): boolean {
    try {
        const stat = fs.readFileSync(`/proc/${pid}/stat`, 'utf8');
        return stat.slice(stat.lastIndexOf(')') + 2)[0] !== 'Z';
    } catch {
        return false;
    }
}

// Every live process whose process group is pgid (zombies left for a non-reaping init do not count).
export function groupMembers(pgid: number): number[] {
    const out: number[] = [];
    for (const e of fs.readdirSync('/proc')) {
        if (!/^\d+$/.test(e)) continue;
        try {
            const stat = fs.readFileSync(`/proc/${e}/stat`, 'utf8');
            const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
            if (fields[0] !== 'Z' && Number(fields[2]) === pgid) out.push(Number(e));
        } catch {
            // exited meanwhile
        }
    }
    return out;
}

export function message(
    content: unknown[],
    stop_reason = 'tool_use',
    usage = { input_tokens: 100, output_tokens: 20 },
) {
    return {
        id: 'msg_' + Math.random().toString(36).slice(2),
        type: 'message',
        role: 'assistant',
        model: 'test',
        content,
        stop_reason,
        stop_sequence: null,
        usage,
    };
}

let toolIds = 0;
export function toolUse(name: string, input: unknown) {
    return { type: 'tool_use', id: `toolu_${++toolIds}`, name, input };
}
