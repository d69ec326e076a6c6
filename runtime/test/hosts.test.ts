import assert from 'node:assert/strict';
import type { ServerResponse } from 'node:http';
import { after, before, test } from 'node:test';
import { describeApiError, makeClient } from '../src/agent.js';
import { GoogleSheet, sendSms } from '../src/services.js';
import {
    json,
    message,
    runCli,
    serve,
    tempHome,
    toolUse,
    writeSkill,
    type Server,
} from './helpers.js';

// Every request that carries a credential, each pointed at host and answered by it as the test says.
const credentialed = (host: string) => ({
    model: () =>
        makeClient({ kind: 'key', apiKey: 'sk-secret', baseURL: host }, () => {}).messages.create({
            model: 'm',
            max_tokens: 256,
            messages: [{ role: 'user', content: 'hi' }],
        }),
    sheets: () =>
        new GoogleSheet(
            { accessToken: 'sheet-secret', tokenUrl: `${host}/token`, baseUrl: host },
            'SHEET1234567',
        ).append([['a']]),
    refresh: () =>
        new GoogleSheet(
            {
                refreshToken: 'refresh-secret',
                clientId: 'c',
                clientSecret: 's',
                tokenUrl: `${host}/token`,
                baseUrl: host,
            },
            'SHEET1234567',
        ).append([['a']]),
    sms: () =>
        sendSms(
            { accountSid: 'AC1', authToken: 'sms-secret', from: '+15550000000', baseUrl: host },
            '+15550001111',
            'hi',
        ),
});

const failure = (p: Promise<unknown>) =>
    p.then(
        () => assert.fail('expected a failure'),
        (e) => describeApiError(e),
    );

let other: Server;
const home = tempHome();
before(async () => {
    other = await serve((req, res) => json(res, 200, {}));
});
after(async () => {
    await other.close();
    home.cleanup();
});

test('a key or token never follows a redirect to another host; redirects within the host are followed', async (t) => {
    let moved = 0;
    const host = await serve((req, res) => {
        if (req.url.startsWith('/moved/')) {
            moved++;
            assert.ok(
                req.headers.authorization || req.headers['x-api-key'],
                'the credential comes along within the host',
            );
            return json(
                res,
                200,
                req.url.includes('/v1/messages')
                    ? message([toolUse('finish', {})])
                    : { access_token: 't', sid: 'SM1' },
            );
        }
        const to = req.url.startsWith('/same/') ? `/moved${req.url}` : `${other.url}${req.url}`;
        res.writeHead(req.url.includes('token') ? 302 : 307, { location: to }).end();
    });
    t.after(() => host.close());
    const refused = `The server redirected to another host (${other.url}); Tavrik did not follow it.`;
    for (const [name, call] of Object.entries(credentialed(host.url)))
        assert.equal(await failure(call()), refused, name);
    assert.equal(host.requests.length, 4, 'no retries');

    // The proxy's client token is a credential too, and the run ends with the reason.
    const skill = writeSkill(home.root, '---\nname: S\n---\nDo it.');
    const r = await runCli(['agent', skill], {
        ...home.env,
        TAVRIK_PROXY_URL: `${host.url}/api/anthropic`,
    });
    assert.deepEqual(r.lines, [`✗ ${refused}`]);
    assert.equal(other.requests.length, 0, 'nothing reached the other host');

    await credentialed(`${host.url}/same`).model();
    await credentialed(`${host.url}/same`).sms();
    assert.equal(moved, 2);
});

test('answers are read up to a limit, and errors show only their start', async (t) => {
    const endless = (res: ServerResponse, status: number) => {
        res.writeHead(status, { 'content-type': 'application/json' });
        const chunk = Buffer.alloc(64 * 1024, 'x');
        const more = () => {
            while (!res.destroyed && res.write(chunk));
        };
        res.on('drain', more);
        more();
    };
    const host = await serve((req, res) => {
        if (req.url === '/token' || req.url.startsWith('/v1/messages')) return endless(res, 200);
        if (req.url.includes('Messages.json'))
            return json(res, 400, { message: 'Bad number. ' + 'x'.repeat(5000) });
        endless(res, 500);
    });
    t.after(() => host.close());
    const calls = credentialed(host.url);
    assert.equal(
        await failure(calls.model()),
        `The answer from ${host.url} was larger than 8 MB; Tavrik stopped reading it.`,
    );
    assert.equal(
        await failure(calls.refresh()),
        `The answer from ${host.url} was larger than 1 MB; Tavrik stopped reading it.`,
    );
    const sheets = await failure(calls.sheets());
    assert.match(sheets, /^Google Sheets answered HTTP 500: x+…$/);
    assert.ok(sheets.length < 400, sheets);
    const sms = await failure(calls.sms());
    assert.match(sms, /^The text service answered HTTP 400: Bad number\. x+…$/);
    assert.ok(sms.length < 400);
});

test('an answer cut short is a failure, never an answer; a host that keeps redirecting or names no address is refused', async (t) => {
    const body = JSON.stringify(message([toolUse('finish', {})]));
    const host = await serve((req, res) => {
        if (req.url.startsWith('/short/')) {
            res.writeHead(200, {
                'content-type': 'application/json',
                'content-length': String(body.length + 100),
            });
            res.write(body, () => res.destroy());
            return;
        }
        if (req.url.startsWith('/chunked/')) {
            res.writeHead(200, { 'content-type': 'application/json' });
            res.write(body.slice(0, 40), () => res.destroy());
            return;
        }
        if (req.url.startsWith('/loop/')) {
            res.writeHead(302, { location: req.url }).end();
            return;
        }
        res.writeHead(307, { location: 'http://[not an address' }).end();
    });
    t.after(() => host.close());
    for (const cut of ['short', 'chunked']) {
        const lost = await failure(credentialed(`${host.url}/${cut}`).model());
        assert.equal(lost, 'The connection was lost before the answer was complete.', cut);
    }
    assert.equal(host.requests.length, 2, 'no retries');
    assert.equal(
        await failure(credentialed(`${host.url}/loop`).sms()),
        `The server at ${host.url} kept redirecting; Tavrik stopped after 5 redirects.`,
    );
    assert.equal(
        await failure(credentialed(host.url).sheets()),
        `The server at ${host.url} redirected to an address that isn't one ("http://[not an address").`,
    );
});
