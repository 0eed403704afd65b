// Panels of which one is shown, with a tab each.

import { el } from './dom.mjs';

export class Tabs {
  element;
  #tabs;
  #panels;

  /** `panels`: {id, label, content}, the first one shown. `name` keeps ids apart; `tool` stands beside the tabs. */
  constructor(name, panels, tool) {
    this.#tabs = panels.map(({ id, label }, index) =>
      el('button', {
        class: 'tab',
        role: 'tab',
        id: `${name}-tab-${id}`,
        'aria-controls': `${name}-panel-${id}`,
        text: label,
        onclick: () => this.#show(index),
      }),
    );
    this.#panels = panels.map(({ id, content }) =>
      el(
        'div',
        { class: 'tab-panel', role: 'tabpanel', id: `${name}-panel-${id}`, 'aria-labelledby': `${name}-tab-${id}` },
        ...content,
      ),
    );
    const list = el('div', { class: 'tab-list', role: 'tablist' }, ...this.#tabs);
    list.addEventListener('keydown', (event) => this.#handleKey(event));
    this.element = el('div', { class: 'tabs' }, el('div', { class: 'tabs-head' }, list, tool), ...this.#panels);
    this.#show(0);
  }

  #show(chosen) {
    for (const [index, tab] of this.#tabs.entries()) {
      tab.setAttribute('aria-selected', String(index === chosen));
      tab.setAttribute('tabindex', index === chosen ? '0' : '-1');
      this.#panels[index].hidden = index !== chosen;
    }
  }

  #handleKey(event) {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (!step) return;
    event.preventDefault();
    const count = this.#tabs.length;
    const next = (this.#tabs.indexOf(document.activeElement) + step + count) % count;
    this.#show(next);
    this.#tabs[next].focus();
  }
}
