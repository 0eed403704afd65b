// One event of the list, and the head of a scene. A row is used again for another event once its own has left the list.

import { el, icon, place, setText, showIcon } from './dom.mjs';
import { KINDS, clockTime, kindOf, minuteTime, phraseOf, plural, span, titleOf } from './format.mjs';
import { happenedAt } from './story.mjs';

export class TimelineRow {
  summary = null;
  scene = null; // the one it stands in
  #icon = icon('other');
  #kind = el('span', { class: 'row-kind' }, this.#icon, el('span', { class: 'visually-hidden' }));
  #verb = el('span', { class: 'verb' });
  #what = el('bdi');
  #title = el('span', { class: 'row-title cut' }, this.#verb, this.#what);
  #under = el('span', { class: 'row-under cut faint grow' });
  #time = el('span', { class: 'row-time faint' });
  #match = el('span', { class: 'row-match', hidden: true, title: 'Goes through the chosen view' });
  #uploaded = el('span', { class: 'row-uploaded faint', text: 'uploaded', hidden: true, title: 'Came by upload, not live' });
  #gap = el('span', { class: 'row-gap', hidden: true });
  element = el(
    'div',
    { class: 'row', role: 'option', 'aria-selected': 'false' },
    this.#kind,
    this.#title,
    this.#time,
    el('span', { class: 'row-line' }, this.#under, this.#match, this.#uploaded),
    this.#gap,
  );

  constructor() {
    this.#match.append(el('span', { class: 'visually-hidden', text: 'matches the chosen view' }));
  }

  show(summary) {
    this.summary = summary;
    const kind = kindOf(summary);
    const [verb, what] = phraseOf(summary);
    this.element.id = `event-${summary.id}`;
    this.element.dataset.id = summary.id;
    this.element.dataset.kind = kind;
    showIcon(this.#icon, kind);
    setText(this.#kind.lastChild, KINDS[kind]);
    this.#kind.title = KINDS[kind];
    setText(this.#verb, verb && `${verb} `);
    setText(this.#what, what);
    this.#title.title = titleOf(summary);
    const under = [summary.selector, summary.controller ?? summary.screen].filter(Boolean).join(' · ');
    setText(this.#under, under);
    this.#under.title = under;
    setText(this.#time, clockTime(happenedAt(summary)));
    this.#uploaded.hidden = !summary.uploaded;
    this.mark(false);
  }

  /** How long nothing had happened before; undefined when that is not worth a word. */
  showGap(milliseconds) {
    this.#gap.hidden = milliseconds === undefined;
    setText(this.#gap, milliseconds === undefined ? '' : `${span(milliseconds)} later`);
  }

  mark(selected) {
    this.element.setAttribute('aria-selected', String(selected));
  }

  showMatch(matches) {
    this.#match.hidden = !matches;
  }
}

export class TimelineScene {
  key;
  #session = el('p', { class: 'session faint', hidden: true });
  #screen = el('bdi', { class: 'cut' });
  #facts = el('span', { class: 'scene-facts faint' });
  #head = el('p', { class: 'scene-head' }, this.#screen, this.#facts);
  element = el('div', { class: 'scene', role: 'group' }, this.#session, this.#head);

  constructor(key) {
    this.key = key;
  }

  /** `owner`: the device's name, where it matters whose screen it is. */
  show({ beginsSession, events }, owner) {
    const { screen, session, user } = events[0];
    const name = screen || 'No screen yet';
    const whose = owner ? `${owner} · ` : '';
    this.#session.hidden = !beginsSession;
    setText(this.#session, [session && `Session …${session.slice(-4)}`, user && `user ${user}`].filter(Boolean).join(' · '));
    this.#session.title = session ? `Session ${session}` : '';
    setText(this.#screen, whose + name);
    this.#screen.title = whose + name;
    setText(this.#facts, `${plural(events.length, 'event')} · ${minuteTime(happenedAt(events.at(-1)))}`);
    this.element.setAttribute('aria-label', `Screen ${whose}${name}`);
  }

  /** Puts the rows in their order, the newest first. */
  hold(rows) {
    let before = this.#head.nextSibling;
    for (const row of rows) {
      before = place(this.element, row.element, before);
      row.scene = this;
    }
  }
}
