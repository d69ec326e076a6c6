import assert from 'node:assert/strict';
import * as fs from 'node:fs';
import * as path from 'node:path';
import { test } from 'node:test';
import { readActivePort } from '../src/chromium.js';
import { alive, html, runCli, serve, tempHome, writeSkill } from './helpers.js';

// Listening sockets on 127.0.0.1 for a port, from the kernel's own table.
function listenersOn(port: number): string[] {
    const hex = port.toString(16).toUpperCase().padStart(4, '0');
    const out: string[] = [];
    for (const table of ['/proc/net/tcp', '/proc/net/tcp6']) {
        for (const line of fs.readFileSync(table, 'utf8').split('\n').slice(1)) {
            const f = line.trim().split(/\s+/);
            if (f[1]?.endsWith(':' + hex) && f[3] === '0A') out.push(f[1].split(':')[0]);
        }
    }
    return out;
}

function chromePidFromLock(profile: string): number {
    // Chromium's profile lock names the holder as host-pid.
    return Number(fs.readlinkSync(path.join(profile, 'SingletonLock')).split('-').pop());
}

test('with no browser running, Tavrik starts its own on its own profile, reachable from this machine only, and reuses it', async () => {
    const home = tempHome();
    const pages = await serve((req, res) => html(res, '<title>Here</title>ok'));
    const profile = path.join(home.support, 'browser');
    let pid = 0;
    try {
        const dir = writeSkill(
            home.root,
            `---\nname: Open\nruntime:\n  type: open_url\n  url_template: ${pages.url}/x\n---\n`,
        );
        const first = await runCli(['agent', dir], home.env);
        assert.deepEqual(first.lines, [
            '· Starting the browser',
            `→ open ${pages.url}/x`,
            '✓ Opened Here',
        ]);
        assert.equal(first.code, 0);
        const port = readActivePort(profile)!;
        pid = chromePidFromLock(profile);
        assert.ok(alive(pid), 'the browser outlives the run');
        assert.deepEqual(listenersOn(port), ['0100007F']);

        const second = await runCli(['agent', dir], home.env);
        assert.deepEqual(second.lines, [`→ open ${pages.url}/x`, '✓ Opened Here']);
        assert.equal(readActivePort(profile), port);
        assert.equal(chromePidFromLock(profile), pid);
    } finally {
        if (pid) {
            try {
                process.kill(-pid, 'SIGKILL');
            } catch {
                process.kill(pid, 'SIGKILL');
            }
        }
        await pages.close();
        home.cleanup();
    }
});

test('a browser that cannot start is reported, not waited for', async (t) => {
    const home = tempHome({ TAVRIK_BROWSER: '/bin/false' });
    t.after(home.cleanup);
    const dir = writeSkill(
        home.root,
        `---\nname: Open\nruntime:\n  type: open_url\n  url_template: http://127.0.0.1:9/\n---\n`,
    );
    const r = await runCli(['agent', dir], home.env);
    assert.equal(r.code, 1);
    assert.equal(r.lines.at(-1), '✗ The browser quit while starting (status 1).');
    const noDisplay = await runCli(['agent', dir], {
        ...home.env,
        TAVRIK_BROWSER_HEADLESS: '0',
        DISPLAY: '',
        WAYLAND_DISPLAY: '',
    });
    assert.match(noDisplay.lines.at(-1)!, /^✗ There is no display to show the browser on/);
});
