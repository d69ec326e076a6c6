// Only web pages are opened: after its values are filled in, an address must be absolute http or https.
// file:, javascript:, data:, chrome:, about:, view-source: and relative addresses are all refused.
export type Address = { url: URL } | { problem: 'not-absolute' | 'not-web' };

export function webAddress(text: string): Address {
    let url: URL;
    try {
        url = new URL(text.trim());
    } catch {
        return { problem: 'not-absolute' };
    }
    return url.protocol === 'http:' || url.protocol === 'https:' ? { url } : { problem: 'not-web' };
}
