import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { BrowserSession } from '../src/browser.js';
import { GoogleSheet, SetupError, sendSms } from '../src/services.js';
import { loadConfig } from '../src/config.js';
import { extractRows, readPage, type PageReading } from '../src/pageread.js';
import { parseSkillMarkdown } from '../src/skill.js';
import { Toolbelt } from '../src/tools.js';
import { html, json, serve, startBrowser, tempHome, type Server } from './helpers.js';

let home: ReturnType<typeof tempHome>;
let pages: Server;
let browser: Awaited<ReturnType<typeof startBrowser>>;
let session: BrowserSession;

const cards = `<title>Shop</title><main>
<nav><a href="/a">Home</a><a href="/b">Deals</a></nav>
<div class="results">
  <div class="card"><h3 class="product-name">Kettle</h3><span class="price">€25</span><a href="/p/1">more</a></div>
  <div class="card"><h3 class="product-name">Toaster</h3><span class="price">€40</span><a href="/p/2">more</a></div>
  <div class="card"><h3 class="product-name">Blender</h3><span class="price">€55</span><a href="/p/3">more</a></div>
</div>
<table id="plain"><tr><td>x1</td><td>y1</td></tr><tr><td>x2</td><td>y2</td></tr></table>
<form><input type="password" name="pin" value="9999-secret"><input name="code" autocomplete="one-time-code" value="123456-secret">
<textarea name="note">visible note</textarea><input type="checkbox" name="remember" checked>
<div class="card"><textarea name="password">textarea-secret</textarea></div><input id="user_otp" value="otp-secret">
<input autocomplete="new-password" value="new-secret"><input name="city" value="Lisbon"></form>
<div id="late"></div>
<script>setTimeout(() => { document.getElementById('late').textContent = 'loaded later'; }, 300);
// A page that lies about its fields to whoever reads them from its own world.
Object.defineProperty(HTMLInputElement.prototype, 'type', { get: () => 'text' });
Object.defineProperty(HTMLInputElement.prototype, 'autocomplete', { get: () => '' });
Element.prototype.getAttribute = () => null;
const map = Array.prototype.map;
Array.prototype.map = function (f) { return map.call(this, (x, i, a) => { const v = f(x, i, a); return v === 'password' ? 'x' : v; }); };
RegExp.prototype.test = () => false;
String.prototype.toLowerCase = function () { return 'plain'; };
</script>
</main>`;

before(async () => {
    home = tempHome();
    pages = await serve((req, res) => html(res, cards));
    browser = await startBrowser(home.support);
    session = await BrowserSession.connect(
        {
            headless: true,
            sandbox: false,
            cdpUrl: `http://127.0.0.1:${browser.port}`,
            loadTimeoutMs: 10000,
            startTimeoutMs: 10000,
        },
        '',
        () => {},
        () => assert.fail('must not launch'),
    );
});

after(async () => {
    await session?.disconnect();
    browser?.stop();
    await pages?.close();
    home?.cleanup();
});

test('extract finds look-alike rows by field names, by selector, and by position', async () => {
    const page = await session.open(`${pages.url}/shop`);
    const byName = await extractRows(page, 'the products', ['product name', 'price', 'link']);
    assert.equal(byName.source, 'list');
    assert.deepEqual(
        byName.rows.map((r) => [r['product name'], r.price, r.link]),
        [
            ['Kettle', '€25', `${pages.url}/p/1`],
            ['Toaster', '€40', `${pages.url}/p/2`],
            ['Blender', '€55', `${pages.url}/p/3`],
        ],
    );
    const bySelector = await extractRows(page, 'nav a', ['link']);
    assert.equal(bySelector.source, 'selector');
    assert.deepEqual(
        bySelector.rows.map((r) => r.link),
        [`${pages.url}/a`, `${pages.url}/b`],
    );
    const positional = await extractRows(page, 'table#plain tr', ['first', 'second']);
    assert.deepEqual(positional.rows, [
        { first: 'x1', second: 'y1' },
        { first: 'x2', second: 'y2' },
    ]);
});

test('read and extract show text and fields but never a secret value, whatever the page script does, and wait for late content', async () => {
    const tools = new Toolbelt(
        loadConfig(home.support, {}, () => {}),
        parseSkillMarkdown('---\nname: T\n---\n'),
        async () => session,
        () => {},
    );
    assert.equal((await tools.run('open', { url: `${pages.url}/shop` })).isError, undefined);
    const r = JSON.parse((await tools.run('read', { prompt: 'city' })).content) as PageReading;
    const rows = (
        await tools.run('extract', {
            rows: 'form > *',
            fields: ['password', 'pin', 'code', 'city'],
        })
    ).content;
    for (const seen of [JSON.stringify(r), rows]) assert.ok(!seen.includes('secret'), seen);
    assert.deepEqual(
        r.fields.map((f) => f.value),
        [
            '[hidden]',
            '[hidden]',
            'visible note',
            'true',
            '[hidden]',
            '[hidden]',
            '[hidden]',
            'Lisbon',
        ],
    );
    assert.ok(rows.includes('Lisbon'));
    assert.match(r.text, /loaded later/);
    assert.equal(r.title, 'Shop');
    assert.ok(r.links.some((l) => l.text === 'Deals'));
    assert.ok(
        (await readPage(session.current()!, 10)).text.endsWith('[…the rest of the page was cut]'),
    );
});

test('Sheets: a refresh token is traded for an access token; a refused token asks for set-up', async (t) => {
    let refreshed = 0;
    const google = await serve((req, res) => {
        if (req.url === '/token') {
            refreshed++;
            assert.equal(new URLSearchParams(req.body).get('refresh_token'), 'r1');
            return json(res, 200, { access_token: 'fresh' });
        }
        if (req.headers.authorization !== 'Bearer fresh')
            return json(res, 401, { error: { message: 'bad token' } });
        json(res, 200, {});
    });
    t.after(() => google.close());
    const cfg = {
        refreshToken: 'r1',
        clientId: 'c',
        clientSecret: 's',
        tokenUrl: `${google.url}/token`,
        baseUrl: google.url,
    };
    const sheet = new GoogleSheet(cfg, 'SHEETID12345');
    assert.equal(
        await sheet.setCell('C7', '3.5', "Bob's tab"),
        "Wrote 'Bob''s tab'!C7 in the sheet.",
    );
    await sheet.append([['a', 'b']]);
    assert.equal(refreshed, 1);
    const put = google.requests.find((r) => r.method === 'PUT')!;
    assert.equal(
        put.url,
        `/v4/spreadsheets/SHEETID12345/values/${encodeURIComponent("'Bob''s tab'!C7")}?valueInputOption=USER_ENTERED`,
    );
    assert.deepEqual(JSON.parse(put.body).values, [['3.5']]);
    await assert.rejects(
        new GoogleSheet({ ...cfg, accessToken: 'stale' }, 'SHEETID12345').append([['x']]),
        SetupError,
    );
    await assert.rejects(sheet.setCell('not a cell', 'v'), /cell name/);
});

test('SMS: errors from the service come back readable; a refused account asks for set-up', async (t) => {
    const sms = await serve((req, res) =>
        req.headers.authorization?.includes(Buffer.from('AC1:bad').toString('base64'))
            ? json(res, 401, { message: 'Authenticate' })
            : json(res, 400, { code: 21211, message: "The 'To' number is not valid." }),
    );
    t.after(() => sms.close());
    const cfg = {
        accountSid: 'AC1',
        authToken: 'good',
        from: '+15550000000',
        baseUrl: sms.url,
    };
    await assert.rejects(
        sendSms(cfg, '+1 (555) 000-1111', 'hi'),
        /HTTP 400: The 'To' number is not valid\./,
    );
    assert.equal(new URLSearchParams(sms.requests[0].body).get('To'), '+15550001111');
    await assert.rejects(sendSms({ ...cfg, authToken: 'bad' }, '+15550001111', 'hi'), SetupError);
    await assert.rejects(sendSms(cfg, 'call mom', 'hi'), /doesn't look like a phone number/);
    assert.equal(sms.requests.length, 2);
});
