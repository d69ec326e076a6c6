import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import * as fs from 'node:fs';
import * as path from 'node:path';
import { test } from 'node:test';
import { ConfigError, loadConfig } from '../src/config.js';
import { csvAppend, csvSetCell, parseCell, parseCsv } from '../src/csv.js';
import { findCredentials } from '../src/key.js';
import { launchArgs, readActivePort } from '../src/chromium.js';
import { normaliseRows, spreadsheetIdFrom } from '../src/services.js';
import { allURLTemplates, isDirect, loadSkill, parseSkillMarkdown } from '../src/skill.js';
import { ArgumentError, fill, parseArguments, runValues } from '../src/template.js';
import { tempHome, writeSkill } from './helpers.js';

const googleFixture = `---
name: Search Google
description: Searches Google for a phrase.
trigger: search Google for {{search_query}}
mode: direct
app_scope: [com.google.Chrome]
runtime:
  type: open_url
  app: com.google.Chrome
  url_template: https://www.google.com/search?q={{search_query|urlencode}}
parameters:
  - name: search_query
    type: text
    prompt: What should Google search for?
    example: claude code
---
# Search Google
Opens the results.
`;

test('a direct skill is read from its front matter and filled with encoded values', () => {
    const skill = parseSkillMarkdown(googleFixture);
    assert.equal(skill.name, 'Search Google');
    assert.equal(skill.runtime?.type, 'open_url');
    assert.ok(isDirect(skill));
    assert.deepEqual(
        skill.parameters.map((p) => [p.name, p.exampleValue]),
        [['search_query', 'claude code']],
    );
    const values = runValues(skill.parameters, {});
    assert.equal(
        fill(skill.runtime!.urlTemplate!, values).text,
        'https://www.google.com/search?q=claude%20code',
    );
    assert.equal(
        fill('{{ search_query | urlencode }}', { search_query: 'a&b=c/d?' }).text,
        'a%26b%3Dc%2Fd%3F',
    );
    const r = fill('{{a}} {{b}} {{a|shout}}', { a: 'x' });
    assert.equal(r.text, 'x {{b}} x');
    assert.deepEqual(r.missing, ['b']);
    assert.deepEqual(r.unknownFilters, ['shout']);
    // Names in other scripts, a decomposed accent included, are placeholders like any other.
    const decomposed = 'cafe\u0301_name';
    const unicode = fill(`{{${decomposed}}} {{नगर}} {{año_2|upper}}`, {
        [decomposed]: 'x',
        नगर: 'y',
        año_2: 'z',
    });
    assert.equal(unicode.text, 'x y Z');
    assert.deepEqual(unicode.missing, []);
});

test('a sequence keeps its URLs in order; the plan document beside SKILL.md wins', (t) => {
    const seq = parseSkillMarkdown(`---
name: Open Two
runtime:
  type: sequence
  steps:
    - type: open_url
      url_template: https://a.example/
    - type: open_url
      url_template: https://b.example/
---
`);
    assert.deepEqual(allURLTemplates(seq.runtime!), ['https://a.example/', 'https://b.example/']);
    assert.equal(
        parseSkillMarkdown('---\nname: X\nruntime:\n  steps:\n    - type: open_url\n').runtime
            ?.type,
        'sequence',
    );
    assert.equal(isDirect(parseSkillMarkdown('---\nname: X\n---\nbody')), false);

    const home = tempHome();
    t.after(home.cleanup);
    const dir = writeSkill(home.root, googleFixture, {
        parameters: [
            {
                id: 'A',
                name: 'search_query',
                type: 'text',
                prompt: 'Q',
                exampleValue: 'from plan',
                usedInSteps: [],
            },
        ],
        plan: [],
        runtime: {
            type: 'sequence',
            steps: [{ type: 'open_url', urlTemplate: 'https://x.example/{{search_query}}' }],
            urlTemplates: ['https://y.example/'],
        },
    });
    const skill = loadSkill(dir);
    assert.equal(skill.parameters[0].exampleValue, 'from plan');
    assert.deepEqual(allURLTemplates(skill.runtime!), [
        'https://y.example/',
        'https://x.example/{{search_query}}',
    ]);
    fs.writeFileSync(path.join(dir, 'execution_plan.json'), '{broken');
    assert.equal(
        loadSkill(dir).runtime?.urlTemplate,
        'https://www.google.com/search?q={{search_query|urlencode}}',
    );
    assert.throws(() => loadSkill(path.join(home.root, 'nowhere')), /no SKILL.md/);
});

test('arguments are split at the first equals sign and override examples', () => {
    assert.deepEqual(parseArguments(['q=a=b c', 'empty=']), { q: 'a=b c', empty: '' });
    assert.throws(() => parseArguments(['novalue']), ArgumentError);
    assert.throws(() => parseArguments(['=x']), ArgumentError);
    assert.deepEqual(
        runValues(
            [
                { name: 'a', exampleValue: '1' },
                { name: 'b', exampleValue: '2' },
            ],
            { b: '3' },
        ),
        { a: '1', b: '3' },
    );
});

test('CSV cells and rows survive quoting and keep what was there', (t) => {
    const home = tempHome();
    t.after(home.cleanup);
    const file = path.join(home.root, 'out', 'sheet.csv');
    csvAppend(file, [
        ['name', 'price'],
        ['Widget, large', 'say "hi"'],
    ]);
    csvSetCell(file, 'D4', 'x\ny');
    csvSetCell(file, 'B1', 'cost');
    const rows = parseCsv(fs.readFileSync(file, 'utf8'));
    assert.deepEqual(rows[0], ['name', 'cost']);
    assert.deepEqual(rows[1], ['Widget, large', 'say "hi"']);
    assert.deepEqual(rows[3], ['', '', '', 'x\ny']);
    assert.deepEqual(parseCell('$AA$10'), { col: 26, row: 9 });
    assert.equal(parseCell('A0'), null);
    assert.throws(() => csvSetCell(file, 'nonsense', 'v'), /cell name/);
    assert.deepEqual(normaliseRows(['a', 1, null]), [['a', '1', '']]);
    assert.deepEqual(normaliseRows([{ n: 'x', p: 2 }, ['y', 3]]), [
        ['x', '2'],
        ['y', '3'],
    ]);
    assert.equal(
        spreadsheetIdFrom('see https://docs.google.com/spreadsheets/d/1AbC_defGHIjk-lm/edit#gid=0'),
        '1AbC_defGHIjk-lm',
    );
});

test('settings: defaults, environment overrides, bad files, and the file is made private', (t) => {
    const home = tempHome();
    t.after(home.cleanup);
    const load = (env: NodeJS.ProcessEnv = {}) => loadConfig(home.support, env, () => {});
    const cfg = load();
    assert.equal(cfg.maxSteps, 40);
    assert.equal(cfg.sheets, undefined);
    const file = path.join(home.support, 'runtime.json');
    fs.writeFileSync(
        file,
        JSON.stringify({
            max_steps: 5,
            sms: { account_sid: 'AC1', auth_token: 't', from: '+1555' },
            sheets: { access_token: 'tok' },
        }),
        { mode: 0o644 },
    );
    const c2 = load({ TAVRIK_MAX_STEPS: '7', TAVRIK_BROWSER_HEADLESS: '1' });
    assert.equal(c2.maxSteps, 7);
    assert.equal(c2.browser.headless, true);
    assert.equal(c2.sms?.baseUrl, 'https://api.twilio.com');
    assert.equal(c2.sheets?.accessToken, 'tok');
    assert.equal(fs.statSync(file).mode & 0o777, 0o600);
    for (const [content, error] of [
        ['{"sms": {"account_sid": "AC1"}}', /needs account_sid, auth_token and from/],
        ['not json', ConfigError],
        ['{"max_steps": -1}', /positive number/],
    ] as const) {
        fs.writeFileSync(file, content);
        assert.throws(load, error, content);
    }
});

test('the key comes from the environment, then the key file, else the proxy', (t) => {
    const home = tempHome();
    t.after(home.cleanup);
    assert.deepEqual(
        findCredentials(home.support, {
            ANTHROPIC_API_KEY: ' k1 \n',
            ANTHROPIC_BASE_URL: 'http://h',
        }),
        { kind: 'key', apiKey: 'k1', baseURL: 'http://h' },
    );
    assert.equal(findCredentials(home.support, { ANTHROPIC_API_KEY: '  ' }).kind, 'proxy');
    fs.writeFileSync(path.join(home.support, 'anthropic_key.txt'), 'filekey\n');
    assert.deepEqual(findCredentials(home.support, { ANTHROPIC_API_KEY: ' ' }), {
        kind: 'key',
        apiKey: 'filekey',
        baseURL: undefined,
    });
});

test('pipes, devices, folders and huge files in the data folder fail at once and the rest still works', (t) => {
    const home = tempHome();
    t.after(home.cleanup);
    const fifo = (file: string) => {
        fs.rmSync(file, { recursive: true, force: true });
        execFileSync('mkfifo', [file]);
    };
    const sparse = (file: string, bytes: number) => {
        fs.rmSync(file, { recursive: true, force: true });
        fs.closeSync(fs.openSync(file, 'w'));
        fs.truncateSync(file, bytes);
    };
    const settings = path.join(home.support, 'runtime.json');
    for (const [make, why] of [
        [() => fifo(settings), 'is not a regular file'],
        [() => fs.symlinkSync('/dev/zero', settings), 'is not a regular file'],
        [() => fs.mkdirSync(settings), 'is a folder'],
    ] as const) {
        fs.rmSync(settings, { recursive: true, force: true });
        make();
        assert.throws(
            () => loadConfig(home.support, {}, () => {}),
            new ConfigError(`Couldn't read ${settings}: it ${why}`),
        );
    }

    // A key file that cannot be read is no key: the proxy is asked.
    const key = path.join(home.support, 'anthropic_key.txt');
    for (const make of [
        () => fifo(key),
        () => fs.symlinkSync('/dev/zero', key),
        () => sparse(key, 3 * 1024 * 1024 * 1024),
    ]) {
        fs.rmSync(key, { force: true });
        make();
        assert.equal(findCredentials(home.support, {}).kind, 'proxy');
    }

    const dir = writeSkill(home.root, googleFixture);
    const md = path.join(dir, 'SKILL.md');
    // A plan document that is too large is passed over; SKILL.md alone still makes the skill.
    sparse(path.join(dir, 'execution_plan.json'), 9 * 1024 * 1024);
    assert.equal(loadSkill(dir).name, 'Search Google');
    fifo(path.join(dir, 'execution_plan.json'));
    assert.equal(loadSkill(dir).name, 'Search Google');
    fifo(md);
    assert.throws(() => loadSkill(dir), {
        message: `Couldn't read ${md}: it is not a regular file`,
    });
    sparse(md, 2 * 1024 * 1024);
    assert.throws(() => loadSkill(dir), {
        message: `Couldn't read ${md}: it is larger than 1 MiB`,
    });

    // The browser's port file and a sheet kept as a file are read the same way.
    const profile = path.join(home.support, 'browser');
    fs.mkdirSync(profile, { recursive: true });
    fifo(path.join(profile, 'DevToolsActivePort'));
    assert.equal(readActivePort(profile), null);
    const sheet = path.join(home.root, 'sheet.csv');
    fifo(sheet);
    assert.throws(() => csvAppend(sheet, [['a']]), {
        message: `Couldn't read ${sheet}: it is not a regular file`,
    });
});

test('browser flags fit this machine', () => {
    const args = launchArgs('/p', true, false);
    for (const f of [
        '--no-sandbox',
        '--disable-gpu',
        '--no-first-run',
        '--disable-background-networking',
        '--disable-component-update',
        '--disable-sync',
        '--user-data-dir=/p',
        '--headless=new',
    ])
        assert.ok(args.includes(f), f);
    assert.ok(
        !launchArgs('/p', false, true).some(
            (a) => a === '--no-sandbox' || a.startsWith('--headless'),
        ),
    );
});
