import assert from 'node:assert/strict';
import * as fs from 'node:fs';
import * as path from 'node:path';
import { after, before, test, type TestContext } from 'node:test';
import { parseCsv } from '../src/csv.js';
import {
    html,
    json,
    message,
    runCli,
    serve,
    startBrowser,
    tempHome,
    toolUse,
    writeConfig,
    writeSkill,
    type Request,
    type Server,
} from './helpers.js';

const secret = 'hunter2-do-not-leak';

const shopPage = `<html><head><title>Token Prices</title></head><body>
<h1>Prices</h1><p>BTC price: <span id="price">$64,250.10</span></p>
<table><tr><th>Name</th><th>Price</th><th>Change</th></tr>
<tr><td>Bitcoin</td><td>64,250</td><td>+1%</td></tr>
<tr><td>Ether</td><td>3,100</td><td>-2%</td></tr></table>
<form><label>Email <input name="email" value="me@example.com"></label>
<label>Password <input type="password" id="pw"></label>
<input type="text" autocomplete="current-password" id="pw2"></form>
<script>document.getElementById('pw').value = '${secret}'; document.getElementById('pw2').value = '${secret}';</script>
</body></html>`;

let home: ReturnType<typeof tempHome>;
let pages: Server;
let browser: Awaited<ReturnType<typeof startBrowser>>;

before(async () => {
    home = tempHome();
    pages = await serve((req, res) => html(res, shopPage));
    browser = await startBrowser(home.support);
});

after(async () => {
    browser?.stop();
    await pages?.close();
    home?.cleanup();
});

type Script = (body: any, turn: number, req: Request) => unknown | [number, unknown];

// A stand-in for the Messages API: answers each request with the scripted turn. Closed with the test.
async function fakeModel(t: TestContext, script: Script): Promise<Server> {
    let turn = 0;
    const model = await serve((req, res) => {
        const answer = script(JSON.parse(req.body || '{}'), turn++, req);
        if (Array.isArray(answer)) json(res, answer[0], answer[1]);
        else json(res, 200, answer);
    });
    t.after(() => model.close());
    return model;
}

const lastToolResults = (body: any) =>
    body.messages.at(-1).content as { tool_use_id: string; content: string; is_error?: boolean }[];

const agentSkill = (extra = '') => `---
name: Save Token Prices
description: Reads token prices and saves them.
mode: skill
url: {{page}}
${extra}parameters:
  - name: page
    type: text
    prompt: Which page?
    example: http://example.invalid/
---
# Save Token Prices

## Instructions
1. Open {{page}}.
2. Read the BTC price.
3. Extract the token table and add it to the sheet ⚠️
4. Text the price to +15550001111 ⚠️
`;

test('an agent run uses every tool through the Messages API and reports each call', async (t) => {
    const sheets = await serve((req, res) =>
        json(res, 200, { updates: { updatedRange: 'Sheet1!A2:B3' } }),
    );
    const sms = await serve((req, res) => json(res, 201, { sid: 'SM123', status: 'queued' }));
    const bodies: any[] = [];
    const model = await fakeModel(t, (body, turn) => {
        bodies.push(body);
        const steps = [
            () =>
                message([
                    { type: 'text', text: 'Opening the prices page.' },
                    toolUse('open', { url: `${pages.url}/prices` }),
                ]),
            () => message([toolUse('read', { prompt: 'BTC price' })]),
            () =>
                message([
                    toolUse('extract', { rows: 'token table rows', fields: ['name', 'price'] }),
                ]),
            () =>
                message([
                    toolUse('sheets_append', {
                        rows: [
                            ['Bitcoin', '64,250'],
                            ['Ether', '3,100'],
                        ],
                        sheet: 'Prices',
                    }),
                ]),
            () =>
                message([toolUse('notify_sms', { to: '+15550001111', body: 'BTC is $64,250.10' })]),
            () =>
                message(
                    [toolUse('finish', { summary: 'Saved 2 prices and sent 1 text' })],
                    'tool_use',
                ),
        ];
        return steps[turn]();
    });
    t.after(() => fs.rmSync(path.join(home.support, 'runtime.json'), { force: true }));
    t.after(() => Promise.all([sheets.close(), sms.close()]));
    writeConfig(home.support, {
        sheets: {
            access_token: 'sheet-token',
            spreadsheet_id: 'SHEET1234567',
            base_url: sheets.url,
        },
        sms: {
            account_sid: 'AC99',
            auth_token: 'smspass',
            from: '+15559998888',
            base_url: sms.url,
        },
    });
    const dir = writeSkill(home.root, agentSkill());
    const r = await runCli(['agent', dir, `page=${pages.url}/prices`], {
        ...home.env,
        ANTHROPIC_API_KEY: 'sk-test',
        ANTHROPIC_BASE_URL: model.url,
    });
    assert.equal(r.stderr, '');
    assert.deepEqual(r.lines, [
        '· Opening the prices page.',
        `→ open ${pages.url}/prices`,
        '→ read BTC price',
        '→ extract token table rows fields=name,price',
        '→ sheets_append rows=2',
        '→ notify_sms to=+15550001111',
        '→ finish',
        '✓ Saved 2 prices and sent 1 text',
    ]);
    assert.equal(r.code, 0);

    // The model was asked with the key, the skill's instructions and the filled values.
    const first = model.requests[0];
    assert.equal(first.url, '/v1/messages');
    assert.equal(first.headers.authorization, 'Bearer sk-test');
    assert.equal(first.headers['x-tavrik-proxy'], undefined);
    assert.match(bodies[0].system, new RegExp(`- page: ${pages.url}/prices`));
    assert.match(bodies[0].system, /Extract the token table/);
    assert.deepEqual(
        bodies[0].tools.map((t: any) => t.name),
        ['open', 'read', 'extract', 'sheets_set_cell', 'sheets_append', 'notify_sms', 'finish'],
    );

    const opened = JSON.parse(lastToolResults(bodies[1])[0].content);
    assert.equal(opened.title, 'Token Prices');
    const read = lastToolResults(bodies[2])[0];
    assert.match(read.content, /BTC price: \$64,250\.10/);
    assert.match(read.content, /me@example\.com/);
    assert.match(read.content, /\[hidden\]/);
    const extracted = JSON.parse(lastToolResults(bodies[3])[0].content);
    assert.deepEqual(extracted.rows, [
        { name: 'Bitcoin', price: '64,250' },
        { name: 'Ether', price: '3,100' },
    ]);
    // A password typed into the page never leaves it.
    for (const req of model.requests)
        assert.ok(!req.body.includes(secret), 'password value sent to the model');
    assert.ok(
        !fs.readFileSync(path.join(home.support, 'logs', 'runtime.log'), 'utf8').includes(secret),
    );

    assert.equal(sheets.requests.length, 1);
    const append = sheets.requests[0];
    assert.equal(append.method, 'POST');
    assert.equal(
        append.url,
        `/v4/spreadsheets/SHEET1234567/values/${encodeURIComponent("'Prices'!A1")}:append?valueInputOption=USER_ENTERED&insertDataOption=INSERT_ROWS`,
    );
    assert.equal(append.headers.authorization, 'Bearer sheet-token');
    assert.deepEqual(JSON.parse(append.body).values, [
        ['Bitcoin', '64,250'],
        ['Ether', '3,100'],
    ]);
    assert.match(lastToolResults(bodies[4])[0].content, /Added 2 rows at Sheet1!A2:B3/);

    assert.equal(sms.requests.length, 1);
    assert.equal(sms.requests[0].url, '/2010-04-01/Accounts/AC99/Messages.json');
    assert.equal(
        sms.requests[0].headers.authorization,
        'Basic ' + Buffer.from('AC99:smspass').toString('base64'),
    );
    assert.deepEqual(Object.fromEntries(new URLSearchParams(sms.requests[0].body)), {
        To: '+15550001111',
        From: '+15559998888',
        Body: 'BTC is $64,250.10',
    });
});

test('without a key the proxy is asked with the client token; sheets fall back to the CSV named in the skill', async (t) => {
    const model = await fakeModel(t, (body, turn) =>
        turn === 0
            ? message([
                  toolUse('sheets_set_cell', { cell: 'B2', value: '42' }),
                  toolUse('sheets_append', { rows: [['x', 1]] }),
              ])
            : message([toolUse('finish', { summary: 'Wrote the sheet' })]),
    );
    t.after(() => fs.rmSync(path.join(home.support, 'anthropic_key.txt'), { force: true }));
    const dir = writeSkill(home.root, agentSkill('csv: reports/prices.csv\n'));
    const r = await runCli(['agent', dir], {
        ...home.env,
        TAVRIK_PROXY_URL: `${model.url}/api/anthropic`,
    });
    assert.deepEqual(r.lines, [
        '→ sheets_set_cell B2',
        '→ sheets_append rows=1',
        '→ finish',
        '✓ Wrote the sheet',
    ]);
    assert.equal(model.requests[0].url, '/api/anthropic');
    assert.equal(
        model.requests[0].headers['x-tavrik-proxy'],
        'tavrik_211670eae679f02e8d28a79023c39c20',
    );
    assert.equal(model.requests[0].headers['x-api-key'], undefined);
    assert.equal(model.requests[0].headers.authorization, undefined);
    assert.deepEqual(
        parseCsv(fs.readFileSync(path.join(home.root, 'reports', 'prices.csv'), 'utf8')),
        [[''], ['', '42'], ['x', '1']],
    );

    // A key in the support folder takes over from the proxy.
    fs.writeFileSync(path.join(home.support, 'anthropic_key.txt'), 'file-key\n');
    const before = model.requests.length;
    await runCli(['agent', dir], {
        ...home.env,
        ANTHROPIC_BASE_URL: model.url,
        TAVRIK_PROXY_URL: `${model.url}/api/anthropic`,
    });
    assert.equal(model.requests[before].url, '/v1/messages');
    assert.equal(model.requests[before].headers.authorization, 'Bearer file-key');
});

test('runs that wander, fail or lack set-up end with a ✗ line that says why', async (t) => {
    const env = (url: string) => ({ ...home.env, ANTHROPIC_API_KEY: 'k', ANTHROPIC_BASE_URL: url });
    const dir = writeSkill(home.root, agentSkill());

    const looping = await fakeModel(t, () => message([toolUse('read', { prompt: 'anything' })]));
    const stuck = await runCli(['agent', dir], { ...env(looping.url), TAVRIK_MAX_STEPS: '3' });
    assert.equal(stuck.code, 1);
    assert.equal(stuck.lines.at(-1), '✗ Stopped after 3 steps without finishing.');
    assert.equal(looping.requests.length, 3);
    // A tool used before any page is open is an error the model sees, not the end of the run.
    assert.match(looping.requests[1].body, /No page is open yet/);

    const hungry = await runCli(['agent', dir], {
        ...env(looping.url),
        TAVRIK_TOKEN_BUDGET: '150',
    });
    assert.equal(
        hungry.lines.at(-1),
        '✗ Stopped: the run used up its budget of 150 tokens without finishing.',
    );
    assert.equal(hungry.code, 1);

    const refused = await fakeModel(t, () => [
        401,
        { type: 'error', error: { type: 'authentication_error', message: 'invalid x-api-key' } },
    ]);
    const unauthorised = await runCli(['agent', dir], env(refused.url));
    assert.equal(unauthorised.code, 1);
    assert.match(unauthorised.lines.at(-1)!, /^✗ Anthropic API HTTP 401: .*invalid x-api-key/);
    assert.equal(unauthorised.stderr, '');

    const wantsSetup = await fakeModel(t, (b, turn) =>
        turn === 0
            ? message([toolUse('sheets_append', { rows: [['a']] })])
            : message([toolUse('notify_sms', { to: '+15550001111', body: 'hi' })]),
    );
    const noSheet = await runCli(['agent', dir], env(wantsSetup.url));
    assert.equal(noSheet.code, 1);
    assert.match(noSheet.lines.at(-1)!, /^✗ No sheet is set up: .*runtime\.json.*"csv:" line/);

    const noSms = await runCli(
        ['agent', writeSkill(home.root, agentSkill('csv: x.csv\n'))],
        env(wantsSetup.url),
    );
    assert.match(noSms.lines.at(-1)!, /^✗ Texting isn't set up: add an "sms" section/);

    const quiet = await fakeModel(t, () =>
        message([{ type: 'text', text: 'I could not find the price.' }], 'end_turn'),
    );
    const silent = await runCli(['agent', dir], env(quiet.url));
    assert.deepEqual(silent.lines, [
        '· I could not find the price.',
        '· I could not find the price.',
        '✗ The agent stopped without finishing: I could not find the price.',
    ]);
    assert.equal(silent.code, 1);
    assert.equal(quiet.requests.length, 2, 'reminded once to use finish');

    const giveUp = await fakeModel(t, () =>
        message([toolUse('finish', { summary: 'The site asks to sign in', success: false })]),
    );
    const gaveUp = await runCli(['agent', dir], env(giveUp.url));
    assert.deepEqual(gaveUp.lines, ['→ finish', '✗ The site asks to sign in']);
    assert.equal(gaveUp.code, 1);
});
