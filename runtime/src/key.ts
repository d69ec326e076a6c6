import { KiB, readDataFile } from './datafile.js';
import { paths } from './paths.js';

export const proxyToken = 'tavrik_211670eae679f02e8d28a79023c39c20';
export const defaultProxyUrl = 'https://tavrik.app/api/anthropic';

export type Credentials =
    { kind: 'key'; apiKey: string; baseURL?: string } | { kind: 'proxy'; url: string };

// Same order as the application: the environment, then the key file, else the product proxy.
export function findCredentials(support: string, env: NodeJS.ProcessEnv): Credentials {
    const baseURL = env.ANTHROPIC_BASE_URL?.trim() || undefined;
    const fromEnv = env.ANTHROPIC_API_KEY?.trim();
    if (fromEnv) return { kind: 'key', apiKey: fromEnv, baseURL };
    try {
        const fromFile = readDataFile(paths.keyFile(support), 64 * KiB).trim();
        if (fromFile) return { kind: 'key', apiKey: fromFile, baseURL };
    } catch {
        // a missing, unreadable or refused file means no key
    }
    return {
        kind: 'proxy',
        url: env.TAVRIK_PROXY_URL?.trim() || proxyFromWebHost(env.TAVRIK_WEB_HOST),
    };
}

// The application names the product's web host with TAVRIK_WEB_HOST; its proxy lives under it.
function proxyFromWebHost(webHost: string | undefined): string {
    const host = webHost?.trim().replace(/\/+$/, '');
    return host && /^https?:\/\//.test(host) ? `${host}/api/anthropic` : defaultProxyUrl;
}
