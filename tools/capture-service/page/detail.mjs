// The selected event: its picture, crop, facts, ancestry and raw message. A new selection replaces the old one in one step,
// once all of it is there; while events rush in, only some are shown on the way to the newest.

import { AncestryTree, factRows, nodesOf } from './ancestry.mjs';
import { copyButton } from './copy.mjs';
import { appText, el, icon, setText, showIcon } from './dom.mjs';
import { factsOf } from './event-facts.mjs';
import { KINDS, exactTime, happenedAt, kindOf, titleOf } from './format.mjs';
import { colouredJson, jsonText } from './json-text.mjs';
import { ScreenPicture } from './screen-picture.mjs';
import { Tabs } from './tabs.mjs';

const MIN_INTERVAL_MS = 250; // between two events that are shown
const LOAD_MS = 10_000;

export class Detail {
  #root;
  #store;
  #wanted = null;
  #shown = null;
  #shownAt = 0;
  #busy = false;
  #text = ''; // the raw message

  #kindIcon = icon('other');
  #kind = el('span', { class: 'kind-name' });
  #badge = el('span', { class: 'badge' }, this.#kindIcon, this.#kind);
  #title = el('h2');
  #when = el('p', { class: 'when' });
  #problem = el('p', { class: 'problem', role: 'alert', hidden: true });
  #picture = new ScreenPicture();
  #crop = el('figure', { class: 'crop', hidden: true });
  #facts = el('dl', { class: 'facts' });
  #noTree = el('p', { class: 'empty', hidden: true, text: 'This event came without a view, so there is no ancestry.' });
  #tree = new AncestryTree((node) => this.#picture.point(node?.box ?? null, node?.name));
  #message = el('pre', { class: 'message', tabindex: '0', 'aria-label': 'Raw message' });
  #tabs = new Tabs(
    'detail',
    [
      { id: 'ancestry', label: 'Ancestry', content: [this.#tree.element, this.#noTree] },
      { id: 'message', label: 'Message', content: [this.#message] },
    ],
    copyButton('Copy message', () => this.#text),
  );

  constructor(root, store) {
    this.#root = root;
    this.#store = store;
    root.append(
      el('header', { class: 'detail-head' }, this.#badge, this.#title, this.#when),
      this.#problem,
      el(
        'div',
        { class: 'detail-body' },
        this.#picture.element,
        el('div', { class: 'about' }, this.#crop, this.#facts),
        this.#tabs.element,
      ),
    );
    store.subscribe((change) => {
      if (change.connection && store.connection === 'live' && !this.#problem.hidden) this.#shown = null;
      this.#wanted = store.selected;
      this.#catchUp();
    });
  }

  async #catchUp() {
    if (this.#busy) return;
    this.#busy = true;
    while (this.#wanted && this.#wanted !== this.#shown) {
      const summary = this.#wanted;
      this.#root.setAttribute('aria-busy', 'true');
      const [loaded] = await Promise.all([load(summary), this.#interval()]);
      if (this.#wanted !== summary && !this.#store.following) continue;
      this.#shown = summary;
      this.#shownAt = performance.now();
      this.#show(summary, loaded);
    }
    this.#root.removeAttribute('aria-busy');
    this.#busy = false;
  }

  #interval() {
    const left = this.#shownAt + MIN_INTERVAL_MS - performance.now();
    return left > 0 ? new Promise((resolve) => setTimeout(resolve, left)) : null;
  }

  #show(summary, { detail, screen, crop, problem }) {
    const kind = kindOf(summary);
    this.#root.dataset.event = summary.id;
    this.#badge.dataset.kind = kind;
    showIcon(this.#kindIcon, kind);
    setText(this.#kind, KINDS[kind]);
    setText(this.#title, titleOf(summary));
    this.#when.replaceChildren(exactTime(happenedAt(summary)));
    if (summary.deviceName) this.#when.append(' · ', appText(summary.deviceName));
    this.#problem.hidden = !problem;
    setText(this.#problem, problem ?? '');

    const nodes = nodesOf(detail?.viewAncestry);
    const targetBox = nodes.at(-1)?.box ?? null;
    this.#picture.show(screen, targetBox, noScreenReason(summary));
    this.#crop.hidden = !crop;
    this.#crop.replaceChildren(...(crop ? [crop] : []));
    this.#facts.replaceChildren(...factRows(factsOf(detail?.message)));
    this.#tree.element.hidden = nodes.length === 0;
    this.#noTree.hidden = nodes.length > 0;
    this.#tree.show(nodes);
    this.#showMessage(detail?.message);
  }

  #showMessage(message) {
    const text = jsonText(message);
    this.#text = text ?? '';
    this.#message.replaceChildren(
      ...(text === null ? ['This message is nested too deeply to be shown.'] : colouredJson(text)),
    );
    this.#message.scrollTop = 0;
  }
}

const noScreenReason = ({ hasScreen }) =>
  hasScreen
    ? 'The picture is no longer kept: the service holds the latest 256 MiB.'
    : 'This event came without a screenshot.';

/** All there is of the event; never rejects. */
async function load(summary) {
  const base = `events/${summary.id}`;
  const [answer, screen, crop] = await Promise.all([
    loadDetail(`${base}.json`),
    summary.hasScreen ? loadPicture(`${base}/screen.png`, 'The screen at the moment of the event') : null,
    summary.hasCrop ? loadPicture(`${base}/crop.png`, 'The touched view') : null,
  ]);
  return { ...answer, screen, crop };
}

async function loadDetail(url) {
  try {
    const response = await fetch(url, { signal: AbortSignal.timeout(LOAD_MS) });
    if (response.status === 404)
      return { problem: 'The service no longer keeps this event. It holds the latest ones only.' };
    if (!response.ok) return { problem: `The service answered with status ${response.status}. Its terminal says why.` };
    return { detail: await response.json() };
  } catch {
    return { problem: 'The service did not answer. The event is loaded when it is back.' };
  }
}

/** Null when there is no such picture, or it is none. */
async function loadPicture(url, alt) {
  const image = new Image();
  image.alt = alt;
  image.src = url;
  try {
    await image.decode();
    return image;
  } catch {
    return null;
  }
}
