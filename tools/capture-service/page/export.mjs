// The session of the selected event as a file: a page that needs nothing else, with its pictures, or a line of JSON an event.

import { announce, el, notice } from './dom.mjs';
import { factsOf } from './event-facts.mjs';
import { exactTime, titleOf } from './format.mjs';
import { placeOver } from './screen-picture.mjs';
import { happenedAt } from './story.mjs';

const STYLE = `body{font:15px/1.5 system-ui,sans-serif;max-width:60rem;margin:2rem auto;padding:0 1rem;color-scheme:light dark}
article{display:flex;gap:1.5rem;border-top:1px solid #8886;padding:1.5rem 0}figure{position:relative;flex:none;align-self:start;margin:0}
img{display:block;width:240px;border:1px solid #8886}figure div{position:absolute;box-shadow:0 0 0 2px #fff,0 0 0 4px #8f0038}
h2{margin:0;font-size:1.1rem}dl{display:grid;grid-template-columns:max-content 1fr;gap:.2rem 1rem}dt{opacity:.7}dd{margin:0;overflow-wrap:anywhere}`;

export class ExportMenu {
  element;
  #store;

  constructor(store) {
    this.#store = store;
    const choice = (text, write) => el('button', { class: 'quiet', text, onclick: () => this.#export(write) });
    this.element = el(
      'details',
      { class: 'menu' },
      el('summary', { class: 'button', text: 'Export' }),
      el('div', { class: 'menu-items' }, choice('Session as a page', pageOf), choice('Session as JSON lines', linesOf)),
    );
    this.element.addEventListener('keydown', (event) => {
      if (event.key !== 'Escape' || !this.element.open) return;
      event.stopPropagation();
      this.#close();
    });
    document.addEventListener('click', ({ target }) => this.element.contains(target) || (this.element.open = false));
  }

  #close() {
    this.element.open = false;
    this.element.querySelector('summary').focus();
  }

  async #export(write) {
    this.#close();
    const { selected, events } = this.#store;
    const session = selected?.session ?? null;
    const chosen = events.filter((summary) => summary.session === session);
    if (chosen.length === 0) return notice('There is no event to export.');
    announce('The export is being made');
    try {
      const { parts, type, extension } = await write(chosen, session, this.#store.nameOf(chosen[0]));
      save(new Blob(parts, { type }), `session-${session?.replace(/\W/g, '') ?? 'unknown'}.${extension}`);
      return announce('Exported');
    } catch {
      return notice('The service did not answer, so nothing was exported.');
    }
  }
}

/** Undefined when the service no longer keeps it. */
async function load(path, read) {
  const response = await fetch(path);
  return response.ok ? read(response) : undefined;
}

async function linesOf(events) {
  const parts = [];
  for (const { id } of events) {
    const line = await load(`events/${id}.json`, (response) => response.text());
    if (line !== undefined) parts.push(`${line}\n`);
  }
  return { parts, type: 'application/jsonl', extension: 'jsonl' };
}

async function pageOf(events, session, owner) {
  const page = document.implementation.createHTMLDocument(`Session ${session ?? ''}`);
  page.head.append(el('meta', { charset: 'utf-8' }), el('style', { text: STYLE }));
  const [start, end] = page.documentElement.outerHTML.split('</body>');
  const title = el('h1', { text: `Session ${session ?? ''} · ${owner ?? ''}` });
  const parts = ['<!doctype html>', start, title.outerHTML];
  for (const summary of events) parts.push((await articleOf(summary)).outerHTML);
  return { parts: [...parts, '</body>', end], type: 'text/html', extension: 'html' };
}

async function articleOf(summary) {
  const detail = await load(`events/${summary.id}.json`, (response) => response.json());
  const picture = summary.hasScreen && (await load(`events/${summary.id}/screen.png`, readPicture));
  const facts = factsOf(detail?.message).flatMap(([term, value]) => [el('dt', { text: term }), el('dd', { text: value })]);
  return el(
    'article',
    {},
    picture && figureOf(picture, detail?.boundingBox),
    el(
      'div',
      {},
      el('h2', { text: titleOf(summary) }),
      el('p', { text: exactTime(happenedAt(summary)) + (summary.uploaded ? ' · uploaded' : '') }),
      el('dl', {}, ...facts),
    ),
  );
}

/** The screen, with what was touched outlined, as on the page. */
function figureOf({ src, size }, box) {
  const outline = size && box && el('div');
  if (outline) placeOver(outline, box, size);
  return el('figure', {}, el('img', { src, alt: 'The screen at the moment of the event' }), outline);
}

/** { src, size }: the picture as a data URL; null for the size of one that cannot be decoded. */
async function readPicture(response) {
  const blob = await response.blob();
  const { width, height } = await createImageBitmap(blob).catch(() => ({}));
  const src = await new Promise((resolve, reject) => {
    const reader = new FileReader();
    reader.onload = () => resolve(reader.result);
    reader.onerror = reject;
    reader.readAsDataURL(blob);
  });
  return { src, size: width ? { naturalWidth: width, naturalHeight: height } : null };
}

function save(blob, name) {
  const url = URL.createObjectURL(blob);
  el('a', { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 60_000);
}
