// Which events the list shows: search, kinds, and one device when there are several.

import { deviceName } from './device-cards.mjs';
import { el, icon, setText } from './dom.mjs';
import { KINDS, kindOf } from './format.mjs';

const CUSTOM_HINT = 'Custom events are not sent live: they stand here once they were uploaded to this service';

export class TimelineFilters {
  element;
  #store;
  #onLeave;
  #search = el('input', {
    type: 'search',
    placeholder: 'Search (/)',
    title: 'Text, selector, screen, controller, device',
    'aria-label': 'Search events',
    autocomplete: 'off',
    spellcheck: 'false',
  });
  #device = el('select', { 'aria-label': 'Device', hidden: true });
  #chips = new Map(); // by kind

  /** `tools` stand beside the search; `onLeave()` is called when the keyboard is done with it. */
  constructor(store, { tools, onLeave }) {
    this.#store = store;
    this.#onLeave = onLeave;
    this.#search.addEventListener('input', () => store.setFilter({ text: this.#search.value.trim() }));
    this.#search.addEventListener('keydown', (event) => this.#handleKey(event));
    this.#device.addEventListener('change', () => store.setFilter({ device: this.#device.value || null }));
    const search = el('label', { class: 'search' }, icon('search'), this.#search);
    const chips = Object.keys(KINDS).map((kind) => this.#chip(kind));
    this.element = el(
      'header',
      { class: 'toolbar stack' },
      el('div', { class: 'line tools' }, search, this.#device, ...tools),
      el('div', { class: 'chips line', role: 'group', 'aria-label': 'Kinds of events' }, ...chips),
    );
    store.subscribe((change) => {
      if (change.reset || change.devices || change.filter) this.#renderDevices();
      if (change.reset || change.events || change.filter) this.#renderKinds();
      if (change.filter && document.activeElement !== this.#search) this.#search.value = store.filter.text;
    });
  }

  focusSearch() {
    this.#search.focus();
    this.#search.select();
  }

  clear() {
    this.#search.value = '';
    this.#store.setFilter({ text: '', kinds: new Set(), device: null });
    this.#onLeave();
  }

  #chip(kind) {
    const number = el('span', { class: 'number', text: '0' });
    const button = el(
      'button',
      { class: 'chip', 'data-kind': kind, 'aria-pressed': 'false', title: kind === 'custom' ? CUSTOM_HINT : KINDS[kind] },
      icon(kind),
      el('span', { class: 'word', text: KINDS[kind] }),
      number,
    );
    button.addEventListener('click', () => {
      const { kinds } = this.#store.filter;
      if (!kinds.delete(kind)) kinds.add(kind);
      this.#store.setFilter({ kinds });
    });
    this.#chips.set(kind, { button, number });
    return button;
  }

  #handleKey(event) {
    if (event.key === 'Escape' && this.#search.value) {
      this.#search.value = '';
      this.#store.setFilter({ text: '' });
    } else if (event.key === 'Escape' || event.key === 'Enter' || event.key === 'ArrowDown') {
      this.#onLeave();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  #renderKinds() {
    const counts = Object.fromEntries(Object.keys(KINDS).map((kind) => [kind, 0]));
    for (const summary of this.#store.events) counts[kindOf(summary)] += 1;
    for (const [kind, { button, number }] of this.#chips) {
      setText(number, String(counts[kind]));
      button.setAttribute('aria-pressed', String(this.#store.filter.kinds.has(kind)));
      button.classList.toggle('unused', counts[kind] === 0);
    }
  }

  #renderDevices() {
    const { cards, filter } = this.#store;
    this.#device.hidden = cards.length < 2 && filter.device === null;
    const names = cards.map(({ key, device }) => [key, deviceName(device)]);
    if (filter.device !== null && !cards.some(({ key }) => key === filter.device))
      names.push([filter.device, 'A device that is gone']);
    const shown = [...this.#device.options].slice(1).map((option) => [option.value, option.text]);
    if (JSON.stringify(names) !== JSON.stringify(shown)) {
      const options = names.map(([value, text]) => el('option', { value, text }));
      this.#device.replaceChildren(el('option', { value: '', text: 'All devices' }), ...options); // an open list stays open
    }
    this.#device.value = filter.device ?? '';
  }
}
