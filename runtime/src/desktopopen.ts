import { spawn } from 'node:child_process';
import type { OpenedTab } from './cdp.js';
import { BrowserError } from './errors.js';

// The opener hands the address to the desktop's URL handler, which starts or signals the user's
// browser. Some handlers stay in the foreground while the browser they started runs, so a handler
// still running after this long has done its part.
const settleMs = 3000;

// Opens url in the user's default browser through the desktop (xdg-open, or TAVRIK_URL_OPENER).
export function openInDesktopBrowser(url: string, env: NodeJS.ProcessEnv): Promise<OpenedTab> {
    const opener = env.TAVRIK_URL_OPENER || 'xdg-open';
    return new Promise((resolve, reject) => {
        const child = spawn(opener, [url], { stdio: 'ignore', detached: true });
        const timer = setTimeout(() => {
            child.unref();
            resolve({ title: '', url });
        }, settleMs);
        child.once('error', (e) => {
            clearTimeout(timer);
            reject(
                new BrowserError(
                    `Couldn't hand ${url} to your browser: ${opener} failed (${e.message}).`,
                ),
            );
        });
        child.once('exit', (code) => {
            clearTimeout(timer);
            if (code === 0) resolve({ title: '', url });
            else
                reject(
                    new BrowserError(
                        `Couldn't hand ${url} to your browser: ${opener} ended with status ${code}.`,
                    ),
                );
        });
    });
}

// Whether direct skills go to the user's own browser (the default) rather than Tavrik's.
export function usesDesktopBrowser(env: NodeJS.ProcessEnv): boolean {
    return env.TAVRIK_DIRECT_BROWSER !== 'tavrik';
}
