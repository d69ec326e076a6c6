import assert from 'node:assert/strict';
import * as fs from 'node:fs';
import * as path from 'node:path';
import { after, before, test } from 'node:test';
import { readActivePort } from '../src/chromium.js';
import { loadConfig } from '../src/config.js';
import { RefusedError } from '../src/errors.js';
import { parseSkillMarkdown } from '../src/skill.js';
import { Toolbelt } from '../src/tools.js';
import {
    alive,
    groupMembers,
    html,
    runCli,
    serve,
    startBrowser,
    startCli,
    tempHome,
    writeSkill,
    type Server,
} from './helpers.js';

let home: ReturnType<typeof tempHome>;
let pages: Server;
let browser: Awaited<ReturnType<typeof startBrowser>>;

before(async () => {
    home = tempHome();
    pages = await serve((req, res) => {
        if (req.url.startsWith('/slow')) return; // never answers: a page still loading
        const title = req.url.startsWith('/b') ? 'Page B' : 'Page A';
        html(res, `<html><head><title>${title}</title></head><body>${title}</body></html>`);
    });
    browser = await startBrowser(home.support);
});

after(async () => {
    browser?.stop();
    await pages?.close();
    home?.cleanup();
});

const skillWith = (runtime: string) => `---
name: Open Pages
mode: direct
${runtime}
parameters:
  - name: term
    type: searchTerm
    prompt: Which?
    example: red shoes & socks
---
# Open Pages
`;
const skillDir = (runtime: string) => writeSkill(home.root, skillWith(runtime));
const openingUrl = (template: string) =>
    skillDir(`runtime:\n  type: open_url\n  url_template: ${template}`);
const twoPages = () =>
    skillDir(
        `runtime:\n  type: sequence\n  steps:\n    - type: open_url\n      url_template: ${pages.url}/a/{{term}}\n    - type: open_url\n      url_template: ${pages.url}/b?x={{term|urlencode}}`,
    );

test('a direct skill opens its filled URL in the running browser without any model', async () => {
    const dir = openingUrl(`"${pages.url}/a?q={{term|urlencode}}"`);
    const r = await runCli(['agent', dir], home.env);
    assert.equal(r.stderr, '');
    assert.deepEqual(r.lines, [
        `→ open ${pages.url}/a?q=red%20shoes%20%26%20socks`,
        '✓ Opened Page A',
    ]);
    assert.equal(r.code, 0);
    assert.ok(pages.requests.some((q) => q.url === '/a?q=red%20shoes%20%26%20socks'));
    assert.ok(alive(browser.pid), 'the browser stays running for the next run');
    const log = fs.readFileSync(path.join(home.support, 'logs', 'runtime.log'), 'utf8');
    assert.match(log, /reusing the browser on port/);
});

test('a sequence opens each page in order, with the values given on the command line', async () => {
    const dir = twoPages();
    const r = await runCli(['agent', dir, 'term=a b=c'], home.env);
    assert.deepEqual(r.lines, [
        `→ open ${pages.url}/a/a%20b=c`,
        `→ open ${pages.url}/b?x=a%20b%3Dc`,
        '✓ Opened 2 pages for Open Pages',
    ]);
    assert.equal(r.code, 0);
});

test("by default the pages open in the user's browser through the desktop's URL handler", async () => {
    const calls = path.join(home.root, 'opened.txt');
    const opener = path.join(home.root, 'opener.sh');
    fs.writeFileSync(
        opener,
        `#!/bin/sh\nprintf '%s\\n' "$1" >> '${calls}'\n[ "$1" != "${pages.url}/b?x=fail" ]\n`,
        { mode: 0o755 },
    );
    const env: NodeJS.ProcessEnv = { ...home.env, TAVRIK_URL_OPENER: opener };
    delete env.TAVRIK_DIRECT_BROWSER;
    const dir = twoPages();
    const r = await runCli(['agent', dir, 'term=x'], env);
    assert.deepEqual(r.lines, [
        `→ open ${pages.url}/a/x`,
        `→ open ${pages.url}/b?x=x`,
        '✓ Opened 2 pages for Open Pages',
    ]);
    assert.equal(r.code, 0);
    assert.deepEqual(fs.readFileSync(calls, 'utf8').trim().split('\n'), [
        `${pages.url}/a/x`,
        `${pages.url}/b?x=x`,
    ]);
    // Only these addresses: the browser of earlier tests may still ask for an icon.
    assert.ok(
        !pages.requests.some((q) => q.url === '/a/x' || q.url === '/b?x=x'),
        "Tavrik's browser opened nothing",
    );

    const failed = await runCli(['agent', dir, 'term=fail'], env);
    assert.equal(failed.code, 1);
    assert.equal(
        failed.lines.at(-1),
        `✗ Couldn't hand ${pages.url}/b?x=fail to your browser: ${opener} ended with status 1.`,
    );
});

test('bad input ends with one clear ✗ line and a non-zero status', async () => {
    const noSuch = await runCli(['agent', path.join(home.root, 'missing')], home.env);
    assert.equal(noSuch.code, 1);
    assert.match(noSuch.lines.at(-1)!, /^✗ There is no SKILL.md in /);

    const badArg = await runCli(['agent', path.join(home.root, 'missing'), 'oops'], home.env);
    assert.equal(badArg.code, 2);
    assert.deepEqual(badArg.lines, ['✗ The argument "oops" isn\'t of the form name=value.']);

    const r = await runCli(['agent', openingUrl('"{{term}}"')], home.env);
    assert.equal(r.code, 1);
    assert.deepEqual(r.lines, [
        '✗ The skill\'s address "red shoes & socks" isn\'t a full web address.',
    ]);

    // Only the web: a template, or a value filled into one, that points anywhere else opens nothing.
    for (const [template, term] of [
        ['file:///etc/passwd', ''],
        ['{{term}}', 'javascript:alert(1)'],
        ['view-source:{{term}}', 'http://x/'],
    ]) {
        const refused = await runCli(
            ['agent', openingUrl(`"${template}"`), `term=${term}`],
            home.env,
        );
        const address = template.replace('{{term}}', term);
        assert.deepEqual(refused.lines, [
            `✗ The skill's address "${address}" isn't a web page: Tavrik opens only http and https addresses.`,
        ]);
    }
    const tools = new Toolbelt(
        loadConfig(home.support, {}, () => {}),
        parseSkillMarkdown('---\nname: T\n---\n'),
        () => assert.fail('no browser for that'),
        () => {},
    );
    for (const url of [
        'file:///etc/passwd',
        'javascript:alert(1)',
        'data:text/html,hi',
        'chrome://settings',
        'about:blank',
        '/relative',
    ])
        await assert.rejects(
            tools.run('open', { url }),
            new RefusedError(
                `Tavrik didn't open "${url}": it opens only http and https addresses.`,
            ),
        );

    const unknown = openingUrl(`${pages.url}/{{nope}}`);
    assert.deepEqual((await runCli(['agent', unknown], home.env)).lines, [
        '✗ No value for {{nope}}: pass nope=VALUE.',
    ]);

    const usage = await runCli([], home.env);
    assert.equal(usage.code, 2);
    assert.match(usage.lines[0], /^✗ Usage: /);
});

test('SIGTERM and SIGINT stop a run at once; nothing of the run is left and the browser keeps running', async () => {
    const dir = openingUrl(`${pages.url}/slow`);
    for (const [signal, code] of [
        ['SIGTERM', 143],
        ['SIGINT', 130],
    ] as const) {
        const run = startCli(['agent', dir], home.env);
        await run.waitForLine((l) => l.startsWith('→ open'));
        const t0 = Date.now();
        process.kill(run.child.pid!, signal);
        const r = await run.done;
        assert.ok(Date.now() - t0 < 2000, 'stops at once');
        assert.equal(r.code, code);
        assert.equal(r.lines.at(-1), '✗ Stopped.');
        assert.deepEqual(groupMembers(r.pid), []);
    }
    // npm does not pass a terminate request on; the runtime still stops when npx is gone.
    const viaNpx = startCli(['agent', dir], home.env, 'npx');
    await viaNpx.waitForLine((l) => l.startsWith('→ open'));
    process.kill(viaNpx.child.pid!, 'SIGTERM');
    await viaNpx.done;
    const deadline = Date.now() + 3000;
    while (groupMembers(viaNpx.child.pid!).length && Date.now() < deadline)
        await new Promise((r) => setTimeout(r, 100));
    assert.deepEqual(groupMembers(viaNpx.child.pid!), []);

    assert.ok(alive(browser.pid));
    assert.equal(readActivePort(path.join(home.support, 'browser')), browser.port);
});
