// Speed of the runtime on this machine: a direct skill in an already running browser, from process
// start to the page loaded, and the runtime's own cost per tool call with an instant local model.
// Run: npm run build && npm run bench
import { spawn } from 'node:child_process';
import * as path from 'node:path';
import { makeClient, runAgent } from '../src/agent.js';
import { BrowserSession } from '../src/browser.js';
import { loadConfig } from '../src/config.js';
import { Output } from '../src/protocol.js';
import { parseSkillMarkdown } from '../src/skill.js';
import { Toolbelt } from '../src/tools.js';
import {
    html,
    json,
    message,
    runtimeDir,
    serve,
    startBrowser,
    tempHome,
    toolUse,
    writeSkill,
} from '../test/helpers.js';

const median = (xs: number[]) => [...xs].sort((a, b) => a - b)[Math.floor(xs.length / 2)];

function timeRun(exe: string, args: string[], env: NodeJS.ProcessEnv): Promise<number> {
    const t0 = performance.now();
    return new Promise((resolve, reject) => {
        const child = spawn(exe, args, {
            cwd: runtimeDir,
            env,
            stdio: ['ignore', 'pipe', 'ignore'],
        });
        let out = '';
        child.stdout.on('data', (d) => {
            out += d;
            if (out.includes('✓')) resolve(performance.now() - t0);
        });
        child.on('close', () =>
            out.includes('✓') ? undefined : reject(new Error('run failed: ' + out)),
        );
    });
}

const home = tempHome();
const pages = await serve((req, res) =>
    html(
        res,
        `<title>P</title><table><tr><th>name</th><th>price</th></tr>${'<tr><td>a</td><td>1</td></tr>'.repeat(50)}</table>`,
    ),
);
const browser = await startBrowser(home.support);
try {
    const skill = writeSkill(
        home.root,
        `---\nname: One\nruntime:\n  type: open_url\n  url_template: ${pages.url}/?q={{q|urlencode}}\nparameters:\n  - name: q\n    example: x y\n---\n`,
    );
    for (const [label, exe, args] of [
        [
            'node dist/cli.js',
            process.execPath,
            [path.join(runtimeDir, 'dist', 'cli.js'), 'agent', skill],
        ],
        ['npx tsx src/cli.ts', 'npx', ['tsx', 'src/cli.ts', 'agent', skill]],
    ] as const) {
        await timeRun(exe, [...args], home.env); // warm the file cache
        const times: number[] = [];
        for (let i = 0; i < 7; i++) times.push(await timeRun(exe, [...args], home.env));
        console.log(
            `direct skill, one URL, running browser (${label}): median ${median(times).toFixed(0)} ms, min ${Math.min(...times).toFixed(0)} ms`,
        );
    }

    // Tool-call overhead: an instant model over real HTTP, real SDK, real browser and CSV.
    const calls = 30;
    for (const [tool, input] of [
        ['read', { prompt: 'price' }],
        ['extract', { rows: 'rows', fields: ['name', 'price'] }],
        ['sheets_append', { rows: [['a', 1]] }],
    ] as const) {
        let turn = 0;
        const model = await serve((req, res) =>
            json(
                res,
                200,
                turn++ < calls
                    ? message([toolUse(tool, input)])
                    : message([toolUse('finish', { summary: 'done' })]),
            ),
        );
        const config = loadConfig(home.support, { TAVRIK_MAX_STEPS: '1000' }, () => {});
        const md = `---\nname: Bench\ncsv: ${path.join(home.root, 'bench.csv')}\n---\nbody`;
        const session = await BrowserSession.connect(
            { ...config.browser, cdpUrl: `http://127.0.0.1:${browser.port}` },
            '',
            () => {},
            () => {},
        );
        await session.open(pages.url);
        const tools = new Toolbelt(
            config,
            parseSkillMarkdown(md),
            async () => session,
            () => {},
        );
        const client = makeClient({ kind: 'key', apiKey: 'k', baseURL: model.url }, () => {});
        const t0 = performance.now();
        await runAgent({
            client,
            config,
            skill: parseSkillMarkdown(md),
            values: {},
            tools,
            out: new Output(() => {}),
            log: () => {},
        });
        const per = (performance.now() - t0) / (calls + 1);
        console.log(
            `tool call overhead (${tool}, incl. local HTTP round trip): ${per.toFixed(1)} ms per call`,
        );
        await session.disconnect();
        await model.close();
    }
} finally {
    browser.stop();
    await pages.close();
    home.cleanup();
}
console.log(
    `load: ${(await import('node:os'))
        .loadavg()
        .map((l) => l.toFixed(2))
        .join(' ')}`,
);
process.exit(0);
