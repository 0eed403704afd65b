// One event of the list. A row is used again for another event once its own has left the list.

import { el, icon, setText, showIcon } from './dom.mjs';
import { KINDS, clockTime, happenedAt, kindOf, titleOf } from './format.mjs';

export class TimelineRow {
  summary = null;
  #time = el('span', { class: 'row-time' });
  #icon = icon('other');
  #kind = el('span', { class: 'row-kind' }, this.#icon, el('span', { class: 'visually-hidden' }));
  #title = el('span', { class: 'row-title' });
  #selector = el('span', { class: 'row-selector' });
  #screen = el('span', { class: 'row-screen' });
  #device = el('span', { class: 'row-device' });
  element = el(
    'div',
    { class: 'row', role: 'option', 'aria-selected': 'false' },
    this.#time,
    this.#kind,
    this.#title,
    el('span', { class: 'row-under' }, this.#selector, this.#screen),
    this.#device,
  );

  show(summary) {
    this.summary = summary;
    const kind = kindOf(summary);
    this.element.id = `event-${summary.id}`;
    this.element.dataset.id = summary.id;
    this.element.dataset.kind = kind;
    showIcon(this.#icon, kind);
    setText(this.#kind.lastChild, KINDS[kind]);
    this.#kind.title = KINDS[kind];
    setText(this.#time, clockTime(happenedAt(summary)));
    setText(this.#title, titleOf(summary));
    setText(this.#selector, summary.selector ?? '');
    setText(this.#screen, kind === 'pageview' ? '' : (summary.screen ?? ''));
    setText(this.#device, summary.deviceName ?? '');
    this.mark(false);
  }

  mark(selected) {
    this.element.setAttribute('aria-selected', String(selected));
  }
}
