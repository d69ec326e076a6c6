import { HostError } from './errors.js';

// Requests that carry a key or token. The credential goes only to the host it was meant for: a
// redirect is followed only within the same origin, since fetch would otherwise resend the request,
// headers and all, wherever the answer points. Answers are read up to a limit, so a host cannot make
// the run hang or fill memory with an endless body.

export { HostError };

const maxRedirects = 5;
const lostText = 'The connection was lost before the answer was complete.';
const errorBodyBytes = 16 * 1024;

export interface HostFetchOptions {
    // The largest body read from a successful answer.
    limitBytes?: number;
    // The whole request, body included, when the caller gives no signal of its own.
    timeoutMs?: number;
}

const originOf = (u: URL) => (u.origin === 'null' ? u.protocol : u.origin);

function sizeText(n: number): string {
    return n >= 1024 * 1024 ? `${Math.round(n / (1024 * 1024))} MB` : `${Math.round(n / 1024)} KB`;
}

export async function hostFetch(
    url: string | URL,
    init: RequestInit = {},
    opts: HostFetchOptions = {},
): Promise<Response> {
    let current = new URL(url);
    const origin = current.origin;
    const timeoutMs = opts.timeoutMs ?? 60_000;
    const signal = init.signal ?? AbortSignal.timeout(timeoutMs);
    let method = (init.method ?? 'GET').toUpperCase();
    let body = init.body;
    for (let hop = 0; ; hop++) {
        let res: Response;
        try {
            res = await fetch(current, { ...init, method, body, signal, redirect: 'manual' });
        } catch (e) {
            throw timedOut(e, origin, timeoutMs) ?? e;
        }
        const location = res.headers.get('location');
        if (res.status < 300 || res.status > 399 || location === null)
            return bounded(res, opts.limitBytes ?? 4 * 1024 * 1024, origin, timeoutMs);
        await res.body?.cancel().catch(() => {});
        let next: URL;
        try {
            next = new URL(location, current);
        } catch {
            throw new HostError(
                `The server at ${origin} redirected to an address that isn't one ("${location.slice(0, 80)}").`,
            );
        }
        if (next.origin !== origin)
            throw new HostError(
                `The server redirected to another host (${originOf(next)}); Tavrik did not follow it.`,
            );
        if (hop >= maxRedirects)
            throw new HostError(
                `The server at ${origin} kept redirecting; Tavrik stopped after ${maxRedirects} redirects.`,
            );
        // As browsers do: a 303, or a 301/302 after a POST, asks again with GET and without the body.
        if (
            res.status === 303 ||
            ((res.status === 301 || res.status === 302) && method === 'POST')
        ) {
            method = 'GET';
            body = undefined;
        }
        current = next;
    }
}

function timedOut(e: unknown, origin: string, timeoutMs: number): HostError | null {
    return e instanceof DOMException && e.name === 'TimeoutError'
        ? new HostError(`${origin} didn't answer within ${Math.round(timeoutMs / 1000)} s.`)
        : null;
}

// The same answer, whose body fails once it grows past the limit instead of being read to its end.
function bounded(res: Response, limit: number, origin: string, timeoutMs: number): Response {
    if (!res.body) return res;
    const reader = res.body.getReader();
    let seen = 0;
    const stream = new ReadableStream<Uint8Array>({
        async pull(ctl) {
            let chunk: ReadableStreamReadResult<Uint8Array>;
            try {
                chunk = await reader.read();
            } catch (e) {
                // A timeout while the body is still coming reads as the host not answering; a connection
                // that fetch saw close early (fewer bytes than announced, a chunked body without its last
                // chunk) as a lost one. The caller's own abort stays what it is.
                const lost = e instanceof TypeError ? new HostError(lostText, { cause: e }) : e;
                ctl.error(timedOut(e, origin, timeoutMs) ?? lost);
                return;
            }
            if (chunk.done) return ctl.close();
            seen += chunk.value.byteLength;
            if (seen <= limit) return ctl.enqueue(chunk.value);
            ctl.error(
                new HostError(
                    `The answer from ${origin} was larger than ${sizeText(limit)}; Tavrik stopped reading it.`,
                ),
            );
            await reader.cancel().catch(() => {});
        },
        cancel: (why) => reader.cancel(why),
    });
    return new Response(stream, {
        status: res.status,
        statusText: res.statusText,
        headers: res.headers,
    });
}

// At most the first bytes of an answer, for error messages: a person reads a line, not a page.
export async function answerExcerpt(res: Response, maxChars = 300): Promise<string> {
    let text = '';
    if (res.body) {
        const reader = res.body.getReader();
        const chunks: Uint8Array[] = [];
        let size = 0;
        try {
            while (size < errorBodyBytes) {
                const { done, value } = await reader.read();
                if (done) break;
                chunks.push(value);
                size += value.byteLength;
            }
        } catch {
            // what arrived so far is all there is to show
        }
        await reader.cancel().catch(() => {});
        text = Buffer.concat(chunks).subarray(0, errorBodyBytes).toString('utf8');
    }
    try {
        const j = JSON.parse(text);
        const msg = j?.error?.message ?? j?.message;
        if (typeof msg === 'string') text = msg;
    } catch {
        // not JSON, or cut short: the text as it is
    }
    return trimForPeople(text, maxChars);
}

export function trimForPeople(text: string, maxChars = 300): string {
    const flat = text.replace(/\s+/g, ' ').trim();
    return flat.length > maxChars ? flat.slice(0, maxChars - 1) + '…' : flat;
}
