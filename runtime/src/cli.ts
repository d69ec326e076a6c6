#!/usr/bin/env node
import * as fs from 'node:fs';
import * as path from 'node:path';
import { format } from 'node:util';
import type { BrowserSession } from './browser.js';
import { ConfigError, loadConfig, writeTemplate } from './config.js';
import { openInDesktopBrowser, usesDesktopBrowser } from './desktopopen.js';
import { DirectError, directUrls, runDirect } from './direct.js';
import { findCredentials } from './key.js';
import { Log } from './log.js';
import { Output, stdoutWriter } from './protocol.js';
import { paths, supportDir } from './paths.js';
import { BrowserError, HostError, NavigationError, RefusedError, SetupError } from './errors.js';
import { SkillError, isDirect, loadSkill } from './skill.js';
import { ArgumentError, parseArguments, runValues } from './template.js';
import { Toolbelt } from './tools.js';

const usage = 'Usage: tavrik-runtime agent SKILL-FOLDER [name=value ...] | tavrik-runtime config';

async function main(argv: string[]): Promise<number> {
    const env = process.env;
    const support = supportDir(env);
    const log = new Log(env.TAVRIK_RUNTIME_LOG || paths.logFile(support));
    const say = (...a: unknown[]) => log.write(...a);
    const out = new Output(stdoutWriter());

    // Only the line protocol may reach the pipe: anything a library prints goes to the log.
    const toLog = (chunk: unknown) => {
        say(
            typeof chunk === 'string'
                ? chunk
                : Buffer.isBuffer(chunk)
                  ? chunk.toString('utf8')
                  : String(chunk),
        );
        return true;
    };
    process.stderr.write = toLog as typeof process.stderr.write;
    for (const k of ['log', 'info', 'warn', 'error', 'debug'] as const)
        console[k] = (...a: unknown[]) => say(format(...a));

    const stop = (why: string, code: number) => () => {
        say(`stopping: ${why}`);
        out.failure('Stopped.');
        process.exit(code);
    };
    process.on('SIGTERM', stop('SIGTERM', 143));
    process.on('SIGINT', stop('SIGINT', 130));
    process.on('SIGHUP', stop('SIGHUP', 129));
    // Nobody is watching the run any more when the process that started us is gone: npm does not pass a
    // terminate request on to us, so the end of our process group's leader (npx) counts as one too.
    const parent = process.ppid;
    const leader = processGroup();
    setInterval(() => {
        if (process.ppid !== parent) stop('the parent process is gone', 129)();
        else if (leader && leader !== process.pid && !running(leader))
            stop('the process group leader is gone', 143)();
    }, 300).unref();
    process.on('uncaughtException', (e) => {
        say('uncaught:', e);
        out.failure(`Something went wrong: ${e.message}`);
        process.exit(1);
    });
    process.on('unhandledRejection', (e) => say('unhandled rejection:', e));

    const [command, ...rest] = argv;
    if (command === 'config') {
        const { file, created } = writeTemplate(support);
        out.progress(
            created ? `Wrote a settings file to fill in: ${file}` : `The settings file is ${file}`,
        );
        return 0;
    }
    if (command !== 'agent' || !rest[0]) {
        out.failure(usage);
        return 2;
    }

    const folder = path.resolve(rest[0]);
    say(
        `run ${folder} args ${rest.length - 1}, started ${Math.round(process.uptime() * 1000)} ms ago`,
    );
    let session: BrowserSession | null = null;
    try {
        const given = parseArguments(rest.slice(1));
        const config = loadConfig(support, env, say);
        const skill = loadSkill(folder, say);
        const values = runValues(skill.parameters, given);
        const connect = async () => {
            const { BrowserSession } = await import('./browser.js');
            session = await BrowserSession.connect(
                config.browser,
                paths.browserProfile(support),
                say,
                () => out.progress('Starting the browser'),
            );
            return session;
        };

        if (isDirect(skill)) {
            const urls = directUrls(skill, values);
            if (usesDesktopBrowser(env)) {
                await runDirect(skill, urls, (url) => openInDesktopBrowser(url, env), out);
                say(
                    `direct run in the desktop's browser done at ${Math.round(process.uptime() * 1000)} ms`,
                );
                return 0;
            }
            const [{ browserEndpoint }, { openTab }] = await Promise.all([
                import('./chromium.js'),
                import('./cdp.js'),
            ]);
            const endpoint = await browserEndpoint(
                config.browser,
                paths.browserProfile(support),
                say,
                () => out.progress('Starting the browser'),
            );
            const opts = {
                timeoutMs: config.browser.loadTimeoutMs,
                foreground: !config.browser.headless,
            };
            await runDirect(skill, urls, (url) => openTab(endpoint, url, opts), out);
            say(`direct run done at ${Math.round(process.uptime() * 1000)} ms`);
            return 0;
        }

        // The model client is loaded only when a model is needed: direct skills start faster without it.
        const { makeClient, runAgent } = await import('./agent.js');
        const creds = findCredentials(support, env);
        say(
            `agent run with model ${config.model} via ${creds.kind === 'key' ? creds.baseURL || 'the Messages API' : creds.url}`,
        );
        const tools = new Toolbelt(config, skill, connect, say);
        const ok = await runAgent({
            client: makeClient(creds, say),
            config,
            skill,
            values,
            tools,
            out,
            log: say,
        });
        return ok ? 0 : 1;
    } catch (e) {
        const known = [
            ArgumentError,
            ConfigError,
            SkillError,
            BrowserError,
            NavigationError,
            SetupError,
            DirectError,
            RefusedError,
            HostError,
        ].some((c) => e instanceof c);
        say(known ? 'failed:' : 'unexpected failure:', e);
        const msg = e instanceof Error ? e.message : String(e);
        out.failure(known ? msg : `Something went wrong: ${msg.split('\n')[0]}`);
        return e instanceof ArgumentError ? 2 : 1;
    } finally {
        if (session) await (session as BrowserSession).disconnect();
        say(`done after ${Math.round(process.uptime() * 1000)} ms`);
    }
}

function statOf(pid: number | 'self'): string[] | null {
    try {
        const stat = fs.readFileSync(`/proc/${pid}/stat`, 'utf8');
        return stat.slice(stat.lastIndexOf(')') + 2).split(' ');
    } catch {
        return null;
    }
}

function processGroup(): number | null {
    const f = statOf('self');
    return f ? Number(f[2]) : null;
}

function running(pid: number): boolean {
    const f = statOf(pid);
    return !!f && f[0] !== 'Z' && f[0] !== 'X';
}

main(process.argv.slice(2)).then(
    (code) => process.exit(code),
    () => process.exit(1),
);
