import Anthropic, { type Middleware } from '@anthropic-ai/sdk';
import type { RuntimeConfig } from './config.js';
import { HostError, hostFetch, trimForPeople } from './hostfetch.js';
import type { Credentials } from './key.js';
import { proxyToken } from './key.js';
import type { Output } from './protocol.js';
import type { Skill } from './skill.js';
import { fill } from './template.js';
import { describeCall, toolDefinitions, type Toolbelt } from './tools.js';

// A Messages answer is at most a few hundred kilobytes, even with long tool calls.
const modelAnswerLimit = 8 * 1024 * 1024;

// The SDK retries whatever its fetch throws. A host that redirected elsewhere or answered without end
// would only do it again, so that ends the request at once, rethrown as a new error because the SDK
// recognises (and retries) the very error its fetch threw.
const noRetryForHostErrors: Middleware = async (request, next) => {
    try {
        return await next(request);
    } catch (e) {
        throw e instanceof HostError ? new HostError(e.message) : e;
    }
};

export function makeClient(creds: Credentials, log: (...a: unknown[]) => void): Anthropic {
    const logger = {
        error: (...a: unknown[]) => log('sdk error:', ...a),
        warn: (...a: unknown[]) => log('sdk warn:', ...a),
        info: (...a: unknown[]) => log('sdk:', ...a),
        debug: () => {},
    };
    const options = { maxRetries: 2, timeout: 120_000, logger, middleware: [noRetryForHostErrors] };
    const guarded = (url: string | URL | Request, init?: RequestInit) =>
        hostFetch(String(url instanceof Request ? url.url : url), init, {
            limitBytes: modelAnswerLimit,
        });
    if (creds.kind === 'key') {
        return new Anthropic({
            ...options,
            apiKey: creds.apiKey,
            baseURL: creds.baseURL,
            fetch: guarded,
        });
    }
    // The proxy takes the Messages request as it is, at its own address, with the product's client token instead of a key.
    const proxyFetch = (_url: string | URL | Request, init?: RequestInit) => {
        const headers = new Headers(init?.headers);
        headers.delete('x-api-key');
        headers.delete('authorization');
        headers.set('x-tavrik-proxy', proxyToken);
        return guarded(creds.url, { ...init, headers });
    };
    return new Anthropic({
        ...options,
        apiKey: 'unused',
        baseURL: new URL(creds.url).origin,
        fetch: proxyFetch,
    });
}

export function systemPrompt(skill: Skill, values: Record<string, string>): string {
    const params = Object.entries(values);
    const instructions = fill(skill.markdown, values).text;
    return [
        "You are Tavrik's agent. You carry out a skill that the user taught Tavrik by demonstration, live in the user's own browser, which is already signed in to their sites.",
        'Work only through the tools. Follow the skill step by step; prefer its exact URLs and values. Use read for a single value and extract for lists. Never type, read out or guess passwords or other secrets.',
        'Call finish with a one-sentence summary for the user as soon as the task is done, or with success false and the reason when you are truly blocked (for example a sign-in page). Keep any text you write between tool calls to one short sentence: the user sees it as progress.',
        '',
        params.length
            ? 'Values for this run:\n' + params.map(([k, v]) => `- ${k}: ${v}`).join('\n')
            : 'This skill takes no values.',
        '',
        'The skill (SKILL.md):',
        instructions,
    ].join('\n');
}

export function describeApiError(e: unknown): string {
    for (let c: unknown = e, depth = 0; c instanceof Error && depth < 5; c = c.cause, depth++)
        if (c instanceof HostError) return c.message;
    if (e instanceof Anthropic.APIError && typeof e.status === 'number') {
        const body =
            e.error !== undefined
                ? typeof e.error === 'string'
                    ? e.error
                    : JSON.stringify(e.error)
                : e.message;
        return `Anthropic API HTTP ${e.status}: ${trimForPeople(body)}`;
    }
    if (e instanceof Anthropic.APIConnectionError) return `Couldn't reach the model: ${e.message}`;
    return e instanceof Error ? e.message : String(e);
}

function tokensOf(u: Anthropic.Usage | undefined): number {
    if (!u) return 0;
    return (
        (u.input_tokens ?? 0) +
        (u.output_tokens ?? 0) +
        (u.cache_creation_input_tokens ?? 0) +
        (u.cache_read_input_tokens ?? 0)
    );
}

export interface AgentRun {
    client: Anthropic;
    config: RuntimeConfig;
    skill: Skill;
    values: Record<string, string>;
    tools: Toolbelt;
    out: Output;
    log: (...a: unknown[]) => void;
}

// Returns true when the run finished with success; every way out writes a last ✓ or ✗ line.
export async function runAgent(run: AgentRun): Promise<boolean> {
    const { client, config, out, log } = run;
    const system = systemPrompt(run.skill, run.values);
    const messages: Anthropic.MessageParam[] = [
        { role: 'user', content: `Carry out the skill "${run.skill.name}" now.` },
    ];
    let turns = 0;
    let used = 0;
    let nudged = false;
    for (;;) {
        if (turns >= config.maxSteps) {
            out.failure(`Stopped after ${config.maxSteps} steps without finishing.`);
            return false;
        }
        if (used >= config.tokenBudget) {
            out.failure(
                `Stopped: the run used up its budget of ${config.tokenBudget} tokens without finishing.`,
            );
            return false;
        }
        turns++;
        let resp: Anthropic.Message;
        const started = Date.now();
        try {
            resp = await client.messages.create({
                model: config.model,
                max_tokens: Math.max(
                    256,
                    Math.min(config.maxTokensPerTurn, config.tokenBudget - used),
                ),
                system,
                tools: toolDefinitions,
                messages,
            });
        } catch (e) {
            log('model request failed:', e);
            out.failure(describeApiError(e));
            return false;
        }
        used += tokensOf(resp.usage);
        log(
            `turn ${turns}: ${Date.now() - started} ms, stop ${resp.stop_reason}, ${used} tokens so far`,
        );
        if (resp.stop_reason === 'refusal') {
            out.failure('The model declined the request.');
            return false;
        }
        messages.push({ role: 'assistant', content: resp.content });
        let lastText = '';
        for (const block of resp.content) {
            if (block.type === 'text' && block.text.trim()) {
                lastText = block.text.trim();
                out.progress(lastText.split('\n')[0]);
            }
        }
        const calls = resp.content.filter(
            (b): b is Anthropic.ToolUseBlock => b.type === 'tool_use',
        );
        if (!calls.length) {
            if (!nudged) {
                nudged = true;
                messages.push({
                    role: 'user',
                    content:
                        'Go on with the tools, and call finish when the task is done or blocked.',
                });
                continue;
            }
            // Only finish() says the task is done: an agent that just stops talking may well be stuck.
            out.failure(
                lastText
                    ? `The agent stopped without finishing: ${lastText.split('\n')[0]}`
                    : 'The agent stopped without finishing.',
            );
            return false;
        }
        const results: Anthropic.ToolResultBlockParam[] = [];
        for (const call of calls) {
            const input = (call.input ?? {}) as Record<string, unknown>;
            out.tool(call.name, describeCall(call.name, input));
            const t0 = performance.now();
            const outcome = await run.tools.run(call.name, input);
            log(
                `tool ${call.name}: ${(performance.now() - t0).toFixed(1)} ms${outcome.isError ? ', error: ' + outcome.content : ''}`,
            );
            if (outcome.finish) {
                if (outcome.finish.success) out.success(outcome.finish.summary);
                else out.failure(outcome.finish.summary);
                return outcome.finish.success;
            }
            results.push({
                type: 'tool_result',
                tool_use_id: call.id,
                content: outcome.content,
                is_error: outcome.isError || undefined,
            });
        }
        messages.push({ role: 'user', content: results });
    }
}
