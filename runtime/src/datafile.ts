import * as fs from 'node:fs';

// Files of the data folder may be a named pipe, a device or a huge file put there by mistake or on
// purpose. They are read only when they are regular files within a limit, and opened without
// blocking, so such a file fails at once with a reason instead of hanging or filling memory.

export const KiB = 1024;
export const MiB = 1024 * KiB;

function sizeText(bytes: number): string {
    return bytes >= MiB && bytes % MiB === 0 ? `${bytes / MiB} MiB` : `${bytes / KiB} KiB`;
}

function refusal(st: fs.Stats, maxBytes: number): string | null {
    if (st.isDirectory()) return 'it is a folder';
    if (!st.isFile()) return 'it is not a regular file';
    if (st.size > maxBytes) return `it is larger than ${sizeText(maxBytes)}`;
    return null;
}

// The file's text. A missing file throws fs's own error (code ENOENT); anything refused throws an
// Error whose message says why.
export function readDataFile(file: string, maxBytes: number): string {
    // Looked at before opening, so a device is never even opened...
    const why = refusal(fs.statSync(file), maxBytes);
    if (why) throw new Error(why);
    const fd = fs.openSync(
        file,
        fs.constants.O_RDONLY | fs.constants.O_NONBLOCK | fs.constants.O_NOCTTY,
    );
    try {
        // ...and again through the descriptor, in case the name was swapped meanwhile.
        const again = refusal(fs.fstatSync(fd), maxBytes);
        if (again) throw new Error(again);
        // The file may grow while it is read: the bound holds either way.
        const buffer = Buffer.alloc(maxBytes + 1);
        let size = 0;
        for (
            let n;
            size <= maxBytes && (n = fs.readSync(fd, buffer, size, buffer.length - size, null)) > 0;
        )
            size += n;
        if (size > maxBytes) throw new Error(`it is larger than ${sizeText(maxBytes)}`);
        return buffer.subarray(0, size).toString('utf8');
    } finally {
        fs.closeSync(fd);
    }
}
