import type { Page } from 'playwright-core';

// The in-page code is kept as plain text: a bundler's helpers must not leak into the page. It runs in
// a world of its own, apart from the page's scripts, so a page that redefines what a field says about
// itself (its type, getAttribute, even Array.prototype.map) changes nothing the reader sees.
// Values of secret fields are never read; they show only as "[hidden]" so the model knows one is there.
const common = String.raw`
  const secretHint = /password|passwd|passcode|pwd|otp|one-time|cc-number|cc-csc/;
  const isField = (el) => el instanceof HTMLInputElement || el instanceof HTMLTextAreaElement;
  const isSecret = (el) => {
    if (!isField(el)) return false;
    if (el instanceof HTMLInputElement && el.type === 'password') return true;
    return secretHint.test(['name', 'id', 'autocomplete'].map((a) => el.getAttribute(a) || '').join(' ').toLowerCase());
  };
  const visible = (el) => {
    const r = el.getBoundingClientRect();
    if (r.width === 0 && r.height === 0) return false;
    const s = getComputedStyle(el);
    return s.visibility !== 'hidden' && s.display !== 'none';
  };
  const clean = (t) => (t || '').replace(/[ \t\u00a0]+/g, ' ').replace(/\n\s*\n+/g, '\n').trim();
  const labelOf = (el) => {
    const label = el.labels && el.labels.length ? clean(el.labels[0].innerText) : el.getAttribute('aria-label') || el.getAttribute('placeholder') || el.name || el.id || '';
    return label.slice(0, 200);
  };
  // Text without the text inside textareas: that is a field's starting value, perhaps a secret one.
  const textBesideFields = (el) => {
    let text = '';
    const walk = document.createTreeWalker(el, NodeFilter.SHOW_TEXT);
    for (let n = walk.nextNode(); n && text.length < 4000; n = walk.nextNode()) {
      if (!n.parentElement || !n.parentElement.closest('textarea, script, style')) text += n.data;
    }
    return text;
  };
  const fieldValue = (el) => (isSecret(el) ? (el.value ? '[hidden]' : '') : el.value.slice(0, 1000));
`;

const readScript = String.raw`(() => {
  ${common}
  const fields = [];
  for (const el of document.querySelectorAll('input, textarea, select')) {
    if (fields.length >= 100) break;
    if (!visible(el) || (el instanceof HTMLInputElement && ['hidden', 'submit', 'button', 'image', 'reset'].includes(el.type))) continue;
    const value = el instanceof HTMLInputElement && (el.type === 'checkbox' || el.type === 'radio') ? String(el.checked) : isField(el) ? fieldValue(el) : el.value.slice(0, 1000);
    fields.push({ label: labelOf(el), type: el.type || el.tagName.toLowerCase(), value });
  }
  const links = [];
  for (const a of document.querySelectorAll('a[href]')) {
    const text = clean(a.innerText);
    if (text && visible(a) && links.length < 60) links.push({ text: text.slice(0, 80), href: a.href.slice(0, 500) });
  }
  return { url: location.href, title: document.title, text: clean(document.body ? document.body.innerText : ''), fields, links };
})()`;

function extractScript(rows: string, fields: string[]): string {
    return String.raw`((rowsHint, fields) => {
  ${common}
  const norm = (s) => (s || '').toLowerCase().replace(/[_\-]+/g, ' ').replace(/\s+/g, ' ').trim();
  const textOf = (el) => (isField(el) ? fieldValue(el) : clean(el.innerText || textBesideFields(el)).slice(0, 2000));
  const tableRows = (table) => {
    const trs = [...table.querySelectorAll('tr')].filter((tr) => tr.closest('table') === table);
    if (trs.length < 1) return null;
    let header = [];
    let body = trs;
    const headCells = [...trs[0].children];
    if (headCells.length && headCells.every((c) => c.tagName === 'TH')) {
      header = headCells.map(textOf);
      body = trs.slice(1);
    }
    return { header, items: body.map((tr) => [...tr.children]) };
  };
  const signature = (el) => el.tagName + '.' + [...el.classList].sort().join('.');
  // The largest run of look-alike siblings is usually the list a person means.
  const repeating = () => {
    const found = [];
    for (const parent of document.querySelectorAll('body *')) {
      if (parent.children.length < 2 || !visible(parent)) continue;
      const groups = new Map();
      for (const c of parent.children) {
        if (['SCRIPT', 'STYLE', 'TEMPLATE'].includes(c.tagName)) continue;
        const k = signature(c);
        groups.set(k, (groups.get(k) || []).concat([c]));
      }
      for (const g of groups.values()) {
        if (g.length < 2) continue;
        const chars = g.reduce((n, e) => n + Math.min(textOf(e).length, 300), 0);
        found.push({ items: g, score: g.length * 10 + chars / 20 });
      }
    }
    return found.sort((a, b) => b.score - a.score).slice(0, 8).map((f) => f.items);
  };
  const cellsOf = (el) => {
    const kids = [...el.children].filter((c) => textOf(c));
    return kids.length > 1 ? kids : [el];
  };
  const fieldFrom = (el, field) => {
    const f = norm(field);
    const attrs = ['itemprop', 'data-field', 'name', 'aria-label', 'title'];
    for (const d of el.querySelectorAll('*')) {
      if (attrs.some((a) => norm(d.getAttribute(a)) === f)) return textOf(d);
    }
    for (const d of el.querySelectorAll('[class]')) {
      if ([...d.classList].some((c) => norm(c) === f || norm(c).endsWith(' ' + f) || norm(c).startsWith(f + ' '))) return textOf(d);
    }
    if (/^(link|url|href)$/.test(f)) {
      const a = el.matches('a[href]') ? el : el.querySelector('a[href]');
      return a ? a.href : null;
    }
    return null;
  };

  const rowsOf = (items, header) => {
    const out = [];
    for (const item of items.slice(0, 200)) {
      const cells = Array.isArray(item) ? item : cellsOf(item);
      const root = Array.isArray(item) ? null : item;
      const row = {};
      fields.forEach((field, i) => {
        let v = null;
        const col = header.map(norm).indexOf(norm(field));
        if (col >= 0 && cells[col]) v = textOf(cells[col]);
        if (v === null && root) v = fieldFrom(root, field);
        if (v === null && cells.length === fields.length && cells[i]) v = textOf(cells[i]);
        row[field] = v;
      });
      const text = cells.map(textOf).filter(Boolean).join(' | ');
      if (!fields.length || Object.values(row).some((v) => v === null)) row.text = text.slice(0, 400);
      if (text || Object.values(row).some((v) => v)) out.push(row);
    }
    return out;
  };
  const filled = (rows) => rows.slice(0, 10).reduce((n, r) => n + fields.filter((f) => r[f]).length, 0);

  let candidates = [];
  try {
    const m = rowsHint ? [...document.querySelectorAll(rowsHint)].filter(visible) : [];
    if (m.length) candidates.push({ source: 'selector', header: [], items: m });
  } catch (e) { /* the hint is a description, not a selector */ }
  if (!candidates.length) {
    for (const t of [...document.querySelectorAll('table')].filter(visible).map(tableRows)) {
      if (t && t.items.length) candidates.push({ source: 'table', header: t.header, items: t.items });
    }
    for (const g of repeating()) candidates.push({ source: 'list', header: [], items: g });
  }
  // The candidate that fills the most wanted fields wins; tables first, then larger lists, on a tie.
  let best = { source: 'page', header: [], items: [], rows: [], fill: -1 };
  for (const c of candidates) {
    const rows = rowsOf(c.items, c.header);
    const fill = filled(rows);
    if (fill > best.fill || (fill === best.fill && c.source !== 'list' && best.source === 'list')) best = { ...c, rows, fill };
  }
  const { source, header, items, rows: out } = best;
  return { source, count: items.length, header, rows: out };
})(${JSON.stringify(rows)}, ${JSON.stringify(fields)})`;
}

export interface PageReading {
    url: string;
    title: string;
    text: string;
    fields: { label: string; type: string; value: string }[];
    links: { text: string; href: string }[];
}

// Runs expression in a fresh isolated world of the page's main frame and returns its value.
async function evaluateApart(page: Page, expression: string): Promise<unknown> {
    const cdp = await page.context().newCDPSession(page);
    try {
        const { frameTree } = await cdp.send('Page.getFrameTree');
        const { executionContextId } = await cdp.send('Page.createIsolatedWorld', {
            frameId: frameTree.frame.id,
            worldName: 'tavrik-reader',
        });
        const r = await cdp.send('Runtime.evaluate', {
            expression,
            contextId: executionContextId,
            returnByValue: true,
        });
        if (r.exceptionDetails)
            throw new Error(
                `Couldn't read the page: ${r.exceptionDetails.exception?.description?.split('\n')[0] ?? r.exceptionDetails.text}`,
            );
        return r.result.value;
    } finally {
        void cdp.detach().catch(() => {});
    }
}

export async function readPage(page: Page, maxChars = 20000): Promise<PageReading> {
    const r = (await evaluateApart(page, readScript)) as PageReading;
    if (r.text.length > maxChars)
        r.text = r.text.slice(0, maxChars) + '\n[…the rest of the page was cut]';
    return r;
}

export interface Extraction {
    source: string;
    count: number;
    header: string[];
    rows: Record<string, string | null>[];
}

export async function extractRows(page: Page, rows: string, fields: string[]): Promise<Extraction> {
    return (await evaluateApart(page, extractScript(rows, fields))) as Extraction;
}
