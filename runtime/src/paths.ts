import * as os from 'node:os';
import * as path from 'node:path';

// The per-user data folder on Linux; the application keeps the same one.
export function supportDir(env: NodeJS.ProcessEnv = process.env): string {
    const xdg = env.XDG_DATA_HOME?.trim();
    const base =
        xdg && path.isAbsolute(xdg) ? xdg : path.join(env.HOME || os.homedir(), '.local', 'share');
    return path.join(base, 'Tavrik');
}

export const paths = {
    keyFile: (support: string) => path.join(support, 'anthropic_key.txt'),
    configFile: (support: string) => path.join(support, 'runtime.json'),
    logFile: (support: string) => path.join(support, 'logs', 'runtime.log'),
    browserProfile: (support: string) => path.join(support, 'browser'),
};

export function expandHome(p: string): string {
    if (p === '~') return os.homedir();
    if (p.startsWith('~/')) return path.join(process.env.HOME || os.homedir(), p.slice(2));
    return p;
}
