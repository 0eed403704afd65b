// The selected event: its picture, and beside it facts, ancestry and raw message. A new selection replaces the old one in one
// step, once all of it is there; while events rush in, only some are shown on the way to the newest.

import { AncestryTree, factRows, nodesOf } from './ancestry.mjs';
import { copyButton } from './copy.mjs';
import { Definition } from './definition.mjs';
import { appText, el, icon, setText, showIcon } from './dom.mjs';
import { factsOf } from './event-facts.mjs';
import { loadEvent } from './event-loader.mjs';
import { KINDS, exactTime, kindOf, titleOf } from './format.mjs';
import { hintsOf } from './hints.mjs';
import { colouredJson, jsonText } from './json-text.mjs';
import { ScreenPicture } from './screen-picture.mjs';
import { happenedAt } from './story.mjs';

const MIN_INTERVAL_MS = 250; // between two events that are shown

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
  #when = el('p', { class: 'when soft' });
  #problem = el('p', { class: 'problem', role: 'alert', hidden: true });
  #picture = new ScreenPicture({ onLarge: () => this.#shown && this.#store.select(this.#shown) }); // a newer one would close it
  #noPicture = el('p', { class: 'soft', hidden: true });
  #crop = el('figure', { class: 'crop', hidden: true });
  #facts = el('dl', { class: 'facts' });
  #hints = el('ul', { class: 'hints stack' });
  #definition;
  #tree = new AncestryTree({
    onPoint: (node) => this.#picture.point(node?.box ?? null, node?.name),
    onChoose: (node) => this.#definition.show(this.#shown.id, node.index),
  });
  #about = el('div', { class: 'about', tabindex: '0', role: 'group', 'aria-label': 'Facts' });
  #message = el('pre', { class: 'message', tabindex: '0', 'aria-label': 'Raw message' });
  #ancestry;
  #raw = el('details', { class: 'raw' });
  #wantsRaw = false; // beside a picture, too

  /** `onClose()` leads back to the list, where there is room for one of the two only. */
  constructor(root, store, { onClose }) {
    this.#root = root;
    this.#store = store;
    this.#definition = new Definition(store);
    this.#ancestry = el('section', {}, el('h3', { text: 'Ancestry' }), this.#definition.element, this.#tree.element);
    const back = el('button', { id: 'back', onclick: onClose, text: '← All events' });
    const link = copyButton('Copy link', () => `${location.origin}${location.pathname}#event=${this.#shown.id}`);
    const copy = copyButton('Copy message', () => this.#text);
    root.append(this.#picture.element, this.#about);
    this.#about.append(
      back,
      el('header', { class: 'detail-head' }, el('p', { class: 'line spread' }, this.#badge, link), this.#title, this.#when),
      this.#problem,
      el('div', { class: 'known stack' }, this.#crop, this.#facts, this.#noPicture, this.#hints),
      el('div', { class: 'known stack' }, this.#ancestry, this.#raw),
    );
    const summary = el('summary', { text: 'Message', onclick: () => (this.#wantsRaw = !this.#raw.open) });
    this.#raw.append(summary, copy, this.#message);
    store.subscribe((change) => {
      if (change.connection && store.connection === 'live' && !this.#problem.hidden) this.#shown = null;
      this.#wanted = store.selected;
      root.classList.toggle('nothing', !this.#wanted);
      this.#catchUp();
    });
  }

  async #catchUp() {
    if (this.#busy) return;
    this.#busy = true;
    try {
      while (this.#wanted && this.#wanted !== this.#shown) {
        const summary = this.#wanted;
        this.#root.setAttribute('aria-busy', 'true');
        const [loaded] = await Promise.all([loadEvent(summary), this.#interval()]);
        if (this.#wanted !== summary && !this.#store.following) continue;
        this.#shown = summary;
        this.#shownAt = performance.now();
        this.#show(summary, loaded);
      }
    } finally {
      this.#root.removeAttribute('aria-busy');
      this.#busy = false;
    }
  }

  #interval() {
    const left = this.#shownAt + MIN_INTERVAL_MS - performance.now();
    return left > 0 ? new Promise((resolve) => setTimeout(resolve, left)) : null;
  }

  #show(summary, loaded) {
    const hadFocus = this.#root.contains(document.activeElement);
    this.#showParts(summary, loaded);
    const { activeElement } = document;
    if (hadFocus && !(this.#root.contains(activeElement) && activeElement.checkVisibility())) this.#about.focus();
  }

  #showParts(summary, { detail, screen, crop, problem }) {
    this.#showHead(summary, problem);
    const nodes = nodesOf(detail?.viewAncestry);
    this.#root.classList.toggle('no-picture', !screen);
    this.#picture.show(screen, nodes.at(-1)?.box ?? null);
    this.#noPicture.hidden = screen !== null;
    this.#raw.open = this.#wantsRaw || !screen;
    setText(this.#noPicture, screen ? '' : noScreenReason(summary));
    this.#crop.hidden = !crop;
    this.#crop.replaceChildren(...(crop ? [crop] : []));
    this.#facts.replaceChildren(...factRows(factsOf(detail?.message)));
    const hints = hintsOf(summary, detail?.message, this.#store.events);
    this.#hints.replaceChildren(...hints.map((text) => el('li', { text })));
    this.#ancestry.hidden = nodes.length === 0;
    if (nodes.length === 0) this.#definition.show(summary.id, null);
    this.#tree.show(nodes);
    this.#showMessage(detail?.message);
  }

  #showHead(summary, problem) {
    const kind = kindOf(summary);
    this.#root.dataset.event = summary.id;
    this.#badge.dataset.kind = kind;
    showIcon(this.#kindIcon, kind);
    setText(this.#kind, KINDS[kind]);
    setText(this.#title, titleOf(summary));
    this.#when.replaceChildren(exactTime(happenedAt(summary)));
    const owner = this.#store.nameOf(summary);
    if (owner) this.#when.append(' · ', appText(owner));
    if (summary.uploaded) this.#when.append(' · uploaded');
    this.#problem.hidden = !problem;
    setText(this.#problem, problem ?? '');
  }

  #showMessage(message) {
    const text = jsonText(message);
    this.#text = text ?? '';
    this.#message.replaceChildren(
      ...(text === null ? ['This message is nested too deeply to be shown.'] : colouredJson(text)),
    );
  }
}

function noScreenReason({ hasScreen, uploaded }) {
  if (uploaded) return 'Custom events come by upload, without a picture.';
  if (hasScreen) return 'The picture is no longer kept: the service holds the latest 256 MiB.';
  return 'This event came without a screenshot.';
}
