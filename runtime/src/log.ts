import * as fs from 'node:fs';
import * as path from 'node:path';

const maxBytes = 4 * 1024 * 1024;

// Diagnostics go to a file: the pipe to the application carries only the line protocol.
export class Log {
    private fd: number | null = null;

    constructor(readonly file: string | null) {
        if (!file) return;
        try {
            fs.mkdirSync(path.dirname(file), { recursive: true });
            try {
                if (fs.statSync(file).size > maxBytes) fs.renameSync(file, file + '.1');
            } catch {
                // no earlier log
            }
            this.fd = fs.openSync(file, 'a', 0o600);
        } catch {
            this.fd = null; // logging must never stop a run
        }
    }

    write(...parts: unknown[]): void {
        if (this.fd === null) return;
        const text = parts
            .map((p) =>
                typeof p === 'string' ? p : p instanceof Error ? p.stack || p.message : safeJson(p),
            )
            .join(' ');
        const line = `${new Date().toISOString()} [${process.pid}] ${text.replace(/\n+$/, '')}\n`;
        try {
            fs.writeSync(this.fd, line);
        } catch {
            // disk full or closed: drop the line
        }
    }
}

function safeJson(v: unknown): string {
    try {
        return JSON.stringify(v);
    } catch {
        return String(v);
    }
}

export const nullLog = new Log(null);
