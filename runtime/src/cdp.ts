import * as http from 'node:http';
import WebSocket from 'ws';
import { BrowserError, NavigationError } from './errors.js';

// A direct skill only opens pages: a few DevTools commands do that without loading a whole automation
// library, which is most of the time a direct run would otherwise take.

// The DevTools endpoint answers in a few hundred bytes; one that does not is not a browser.
const maxAnswer = 256 * 1024;

function request(method: string, url: string, timeoutMs: number): Promise<string> {
    return new Promise((resolve, reject) => {
        const req = http.request(url, { method, timeout: timeoutMs }, (res) => {
            let body = '';
            res.setEncoding('utf8');
            res.on('data', (c) => {
                body += c;
                if (body.length > maxAnswer) req.destroy(new Error('the answer was too large'));
            });
            res.on('end', () =>
                res.statusCode === 200
                    ? resolve(body)
                    : reject(new Error(`HTTP ${res.statusCode}: ${body.slice(0, 200)}`)),
            );
        });
        req.on('timeout', () => req.destroy(new Error('no answer')));
        req.on('error', reject);
        req.end();
    });
}

// A command's answer or an event's parameters, read loosely: the protocol has far more than is used here.
type Params = Record<string, unknown>;

class Target {
    private nextId = 0;
    private readonly pending = new Map<
        number,
        { resolve: (v: unknown) => void; reject: (e: Error) => void }
    >();
    private readonly listeners: ((method: string, params: Params) => void)[] = [];

    private constructor(private readonly ws: WebSocket) {
        ws.on('message', (data) => {
            let msg: {
                id?: unknown;
                result?: unknown;
                error?: { message?: string };
                method?: string;
                params?: Params;
            };
            try {
                msg = JSON.parse(data.toString());
            } catch {
                return;
            }
            if (typeof msg.id === 'number') {
                const p = this.pending.get(msg.id);
                this.pending.delete(msg.id);
                if (msg.error) p?.reject(new Error(msg.error.message));
                else p?.resolve(msg.result);
            } else if (msg.method) {
                for (const l of this.listeners) l(msg.method, msg.params ?? {});
            }
        });
        ws.on('close', () => {
            for (const p of this.pending.values())
                p.reject(new BrowserError('The browser closed the connection.'));
            this.pending.clear();
        });
    }

    static connect(wsUrl: string): Promise<Target> {
        return new Promise((resolve, reject) => {
            const ws = new WebSocket(wsUrl, {
                perMessageDeflate: false,
                maxPayload: 64 * 1024 * 1024,
            });
            ws.once('open', () => resolve(new Target(ws)));
            ws.once('error', reject);
        });
    }

    send<Answer = Params>(method: string, params: object = {}): Promise<Answer> {
        const id = ++this.nextId;
        return new Promise((resolve, reject) => {
            this.pending.set(id, { resolve: (v) => resolve(v as Answer), reject });
            this.ws.send(JSON.stringify({ id, method, params }));
        });
    }

    on(listener: (method: string, params: Params) => void) {
        this.listeners.push(listener);
    }

    close() {
        this.ws.close();
    }
}

export interface OpenedTab {
    title: string;
    url: string;
}

// Opens url in a new tab of the browser at endpoint and resolves once that page has fired "load".
export async function openTab(
    endpoint: string,
    url: string,
    opts: { timeoutMs: number; foreground: boolean },
): Promise<OpenedTab> {
    let info: { webSocketDebuggerUrl?: string };
    try {
        info = JSON.parse(await request('PUT', `${endpoint}/json/new?about:blank`, 5000));
    } catch (e) {
        throw new BrowserError(`Couldn't open a tab in the browser: ${(e as Error).message}`);
    }
    if (!info.webSocketDebuggerUrl)
        throw new BrowserError("The browser didn't give an address for its new tab.");
    const target = await Target.connect(info.webSocketDebuggerUrl).catch((e) => {
        throw new BrowserError(`Couldn't talk to the browser: ${e.message}`);
    });
    try {
        let loaderId: string | undefined;
        const loadsSeen = new Set<string>();
        let onLoad: (() => void) | null = null;
        target.on((method, params) => {
            if (
                method === 'Page.lifecycleEvent' &&
                params.name === 'load' &&
                typeof params.loaderId === 'string'
            ) {
                loadsSeen.add(params.loaderId);
                if (params.loaderId === loaderId) onLoad?.();
            }
        });
        await target.send('Page.enable');
        await target.send('Page.setLifecycleEventsEnabled', { enabled: true });
        const nav = await target.send<{ errorText?: string; loaderId?: string }>('Page.navigate', {
            url,
        });
        if (nav.errorText) throw new NavigationError(`Couldn't open ${url}: ${nav.errorText}`);
        loaderId = nav.loaderId;
        if (loaderId && !loadsSeen.has(loaderId)) {
            await new Promise<void>((resolve, reject) => {
                const timer = setTimeout(
                    () =>
                        reject(
                            new NavigationError(
                                `Couldn't open ${url}: it didn't load within ${Math.round(opts.timeoutMs / 1000)} s.`,
                            ),
                        ),
                    opts.timeoutMs,
                );
                onLoad = () => {
                    clearTimeout(timer);
                    resolve();
                };
            });
        }
        const evaluated = await target.send<{ result?: { value?: unknown } }>('Runtime.evaluate', {
            expression: '[document.title, location.href]',
            returnByValue: true,
        });
        const [title, finalUrl] = (evaluated?.result?.value ?? ['', url]) as [string, string];
        if (opts.foreground) await target.send('Page.bringToFront').catch(() => {});
        return { title, url: finalUrl };
    } finally {
        target.close();
    }
}
