import { chromium, type Browser, type BrowserContext, type Page } from 'playwright-core';
import { browserEndpoint, firstLine } from './chromium.js';
import type { BrowserConfig } from './config.js';
import { BrowserError, NavigationError } from './errors.js';

export { BrowserError, NavigationError };
export { findExecutable, launchArgs, launchBrowser, probe, readActivePort } from './chromium.js';

export class BrowserSession {
    private page: Page | null = null;
    private constructor(
        private readonly browser: Browser,
        private readonly context: BrowserContext,
        readonly cfg: BrowserConfig,
    ) {}

    static async connect(
        cfg: BrowserConfig,
        profile: string,
        log: (...a: unknown[]) => void,
        onLaunch: () => void,
    ): Promise<BrowserSession> {
        const endpoint = await browserEndpoint(cfg, profile, log, onLaunch);
        let browser: Browser;
        try {
            browser = await chromium.connectOverCDP(endpoint, { timeout: cfg.startTimeoutMs });
        } catch (e) {
            throw new BrowserError(
                `Couldn't connect to the browser at ${endpoint}: ${firstLine(e)}`,
            );
        }
        const context = browser.contexts()[0] ?? (await browser.newContext());
        return new BrowserSession(browser, context, cfg);
    }

    current(): Page | null {
        return this.page && !this.page.isClosed() ? this.page : null;
    }

    // A new tab per run keeps the user's own tabs untouched; later opens reuse it.
    async open(url: string): Promise<Page> {
        let page = this.current();
        if (!page) {
            page = await this.context.newPage();
            this.page = page;
        }
        try {
            await page.goto(url, { waitUntil: 'load', timeout: this.cfg.loadTimeoutMs });
        } catch (e) {
            throw new NavigationError(`Couldn't open ${url}: ${firstLine(e)}`);
        }
        if (!this.cfg.headless) await page.bringToFront().catch(() => {});
        return page;
    }

    // Pages that keep fetching after "load" get a short grace before they are read.
    async settle(page: Page): Promise<void> {
        await page.waitForLoadState('load', { timeout: this.cfg.loadTimeoutMs }).catch(() => {});
        await page.waitForLoadState('networkidle', { timeout: 1500 }).catch(() => {});
    }

    // Over CDP this only disconnects: the browser and its pages stay for the user.
    async disconnect(): Promise<void> {
        await this.browser.close().catch(() => {});
    }
}
