import * as fs from 'node:fs';
import * as path from 'node:path';
import { MiB, readDataFile } from './datafile.js';

// A sheet kept as a file is read whole before a row is added: it stays within this.
const csvLimit = 64 * MiB;

export function parseCsv(text: string): string[][] {
    const rows: string[][] = [];
    let row: string[] = [];
    let field = '';
    let quoted = false;
    let i = 0;
    if (text.charCodeAt(0) === 0xfeff) i = 1;
    for (; i < text.length; i++) {
        const c = text[i];
        if (quoted) {
            if (c === '"') {
                if (text[i + 1] === '"') {
                    field += '"';
                    i++;
                } else quoted = false;
            } else field += c;
        } else if (c === '"') quoted = true;
        else if (c === ',') {
            row.push(field);
            field = '';
        } else if (c === '\n' || c === '\r') {
            if (c === '\r' && text[i + 1] === '\n') i++;
            row.push(field);
            rows.push(row);
            row = [];
            field = '';
        } else field += c;
    }
    if (field !== '' || row.length) {
        row.push(field);
        rows.push(row);
    }
    return rows;
}

function quote(v: string): string {
    return /[",\r\n]|^\s|\s$/.test(v) ? '"' + v.replace(/"/g, '""') + '"' : v;
}

export function formatCsv(rows: string[][]): string {
    return rows.map((r) => r.map(quote).join(',')).join('\n') + (rows.length ? '\n' : '');
}

// "B3" → column 1, row 2 (zero-based).
export function parseCell(cell: string): { col: number; row: number } | null {
    const m = /^\s*(?:'?[^'!]*'?!)?\$?([A-Za-z]{1,3})\$?([1-9][0-9]{0,6})\s*$/.exec(cell);
    if (!m) return null;
    let col = 0;
    for (const ch of m[1].toUpperCase()) col = col * 26 + (ch.charCodeAt(0) - 64);
    return { col: col - 1, row: Number(m[2]) - 1 };
}

// Replaces the file in one step so a failed write never leaves half a sheet behind.
function writeAtomically(file: string, text: string) {
    fs.mkdirSync(path.dirname(file), { recursive: true });
    const tmp = `${file}.${process.pid}.tmp`;
    fs.writeFileSync(tmp, text, { mode: 0o644 });
    fs.renameSync(tmp, file);
}

function readRows(file: string): string[][] {
    try {
        return parseCsv(readDataFile(file, csvLimit));
    } catch (e) {
        if ((e as NodeJS.ErrnoException).code === 'ENOENT') return [];
        throw new Error(`Couldn't read ${file}: ${(e as Error).message}`, { cause: e });
    }
}

export function csvSetCell(file: string, cell: string, value: string): void {
    const at = parseCell(cell);
    if (!at) throw new Error(`"${cell}" isn't a cell name like B3.`);
    const rows = readRows(file);
    while (rows.length <= at.row) rows.push([]);
    const row = rows[at.row];
    while (row.length <= at.col) row.push('');
    row[at.col] = value;
    writeAtomically(file, formatCsv(rows));
}

export function csvAppend(file: string, newRows: string[][]): void {
    const rows = readRows(file);
    rows.push(...newRows);
    writeAtomically(file, formatCsv(rows));
}
