import assert from 'node:assert/strict';
import * as fs from 'node:fs';
import * as path from 'node:path';
import { test } from 'node:test';
import { loadConfig } from '../src/config.js';
import { parseSkillMarkdown } from '../src/skill.js';
import { describeCall, toolDefinitions, Toolbelt } from '../src/tools.js';
import { runtimeDir, tempHome } from './helpers.js';

// The model is offered these exact texts: a change to any of them changes what it does.
test('the tool list sent to the model is byte for byte the recorded one', () => {
    const recorded = fs.readFileSync(
        path.join(runtimeDir, 'test', 'fixtures', 'tool-list.json'),
        'utf8',
    );
    assert.equal(JSON.stringify(toolDefinitions), JSON.stringify(JSON.parse(recorded)));
    for (const tool of toolDefinitions)
        assert.deepEqual(Object.keys(tool), ['name', 'description', 'input_schema']);
});

test('the "→" line of each call is short and stays one line', () => {
    const long = 'x'.repeat(200);
    assert.equal(describeCall('open', { url: 'https://a.example/x' }), 'https://a.example/x');
    assert.equal(describeCall('read', { prompt: 'BTC\nprice' }), 'BTC price');
    assert.ok(describeCall('read', { prompt: long }).length <= 80);
    assert.equal(describeCall('extract', { rows: 'tr', fields: ['a', 2] }), 'tr fields=a,2');
    assert.equal(describeCall('extract', { rows: 'tr' }), 'tr');
    assert.equal(describeCall('sheets_set_cell', { cell: 'B3', value: 'secret' }), 'B3');
    assert.equal(describeCall('sheets_append', { rows: [[1], [2]] }), 'rows=2');
    assert.equal(describeCall('sheets_append', { rows: 'nope' }), 'rows=0');
    assert.equal(describeCall('notify_sms', { to: '+1555', body: 'private words' }), 'to=+1555');
    assert.equal(describeCall('finish', { summary: 'done' }), '');
    assert.equal(describeCall('nope', { url: 'x' }), '');
});

test('calls that need no browser or service: finish, unknown tools, no page yet, bad rows, no texting set up', async (t) => {
    const home = tempHome();
    t.after(home.cleanup);
    const skill = parseSkillMarkdown('---\nname: T\n---\n');
    const tools = new Toolbelt(
        loadConfig(home.support, {}, () => {}),
        skill,
        () => assert.fail('no browser for that'),
        () => {},
    );
    assert.deepEqual(await tools.run('finish', { summary: '  Saved 2 rows ' }), {
        content: 'ok',
        finish: { summary: 'Saved 2 rows', success: true },
    });
    assert.deepEqual(await tools.run('finish', { success: false }), {
        content: 'ok',
        finish: { summary: 'Done.', success: false },
    });
    assert.deepEqual(await tools.run('open_file', {}), {
        content: 'There is no tool called open_file.',
        isError: true,
    });
    assert.deepEqual(await tools.run('toString', {}), {
        content: 'There is no tool called toString.',
        isError: true,
    });
    for (const name of ['read', 'extract'])
        assert.deepEqual(await tools.run(name, { prompt: 'x', rows: 'tr', fields: [] }), {
            content: 'No page is open yet: call open first.',
            isError: true,
        });
    assert.deepEqual(await tools.run('sheets_append', { rows: 'a,b' }), {
        content: '"rows" must be a list of rows.',
        isError: true,
    });
    assert.deepEqual(
        await tools.run('notify_sms', { to: '+1555', body: 'hi' }).catch((e: Error) => e.message),
        `Texting isn't set up: add an "sms" section with account_sid, auth_token and from to ${path.join(home.support, 'runtime.json')}.`,
    );
});
