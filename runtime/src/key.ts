import * as fs from 'node:fs';
import { paths } from './paths.js';

export const proxyToken = 'tavrik_211670eae679f02e8d28a79023c39c20';
export const defaultProxyUrl = 'https://tavrik.app/api/anthropic';

export type Credentials =
  | { kind: 'key'; apiKey: string; baseURL?: string }
  | { kind: 'proxy'; url: string };

// Same order as the application: the environment, then the key file, else the product proxy.
export function findCredentials(support: string, env: NodeJS.ProcessEnv): Credentials {
  const baseURL = env.ANTHROPIC_BASE_URL?.trim() || undefined;
  const fromEnv = env.ANTHROPIC_API_KEY?.trim();
  if (fromEnv) return { kind: 'key', apiKey: fromEnv, baseURL };
  try {
    const fromFile = fs.readFileSync(paths.keyFile(support), 'utf8').trim();
    if (fromFile) return { kind: 'key', apiKey: fromFile, baseURL };
  } catch {
    // a missing or unreadable file means no key
  }
  return { kind: 'proxy', url: env.TAVRIK_PROXY_URL?.trim() || defaultProxyUrl };
}
