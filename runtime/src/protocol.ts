import * as fs from 'node:fs';

// The application reads these prefixes; every line is written whole, in one write.
export type LineWriter = (line: string) => void;

export function stdoutWriter(): LineWriter {
    return (line: string) => {
        const data = Buffer.from(line + '\n', 'utf8');
        let off = 0;
        while (off < data.length) {
            try {
                off += fs.writeSync(1, data, off);
            } catch (e) {
                const code = (e as NodeJS.ErrnoException).code;
                if (code === 'EAGAIN') continue;
                return; // the reader went away (EPIPE): nothing left to tell
            }
        }
    };
}

export function oneLine(text: string, max = 200): string {
    const flat = text.replace(/\s+/g, ' ').trim();
    return flat.length > max ? flat.slice(0, max - 1) + '…' : flat;
}

export class Output {
    finished = false;
    constructor(private readonly write: LineWriter) {}

    tool(name: string, args = ''): void {
        this.write(oneLine(`→ ${name}${args ? ' ' + args : ''}`, 300));
    }

    progress(phrase: string): void {
        const text = oneLine(phrase, 160);
        if (text) this.write(`· ${text}`);
    }

    success(summary: string): void {
        if (this.finished) return;
        this.finished = true;
        this.write(`✓ ${oneLine(summary, 400)}`);
    }

    failure(reason: string): void {
        if (this.finished) return;
        this.finished = true;
        this.write(`✗ ${oneLine(reason, 400)}`);
    }
}
