// The events as they arrive, newest on top. Rows have one height and are used again, and new ones never move what is being
// read: away from the top the list is scrolled along with them.

import { el, notice, setText } from './dom.mjs';
import { plural } from './format.mjs';
import { TimelineFilters } from './timeline-filters.mjs';
import { TimelineRow } from './timeline-row.mjs';

const PAGE_OF_ROWS = 10;
const AT_TOP_PX = 4;

export class Timeline {
  #store;
  #filters;
  #rows = new Map(); // by the event's id, oldest first
  #spareRows = [];
  #shownSelection = null; // the row that is marked
  #missed = 0; // rows that came in above while older ones were read

  #follow = el(
    'button',
    { class: 'follow' },
    el('span', { class: 'dot', 'aria-hidden': true }),
    el('span', { text: 'Follow newest' }),
  );
  #count = el('span', { class: 'count' });
  #list = el('div', { class: 'rows', role: 'listbox', tabindex: '0', 'aria-label': 'Events, newest first' });
  #newer = el('button', { class: 'newer', hidden: true });
  #none = el('div', { class: 'no-match', hidden: true });

  constructor(root, store, connection) {
    this.#store = store;
    this.#filters = new TimelineFilters(store, {
      tools: [this.#follow, clearButton(connection)],
      onLeave: () => this.#list.focus(),
    });
    root.append(
      this.#filters.element,
      el('div', { class: 'rows-frame' }, this.#list, this.#newer, this.#none),
      this.#foot(),
    );
    this.#none.append(
      el('p', { text: 'No event matches.' }),
      el('button', { text: 'Show all events', onclick: () => this.#filters.clear() }),
    );
    this.#list.addEventListener('keydown', (event) => this.handleKey(event));
    this.#list.addEventListener('click', (event) => this.#selectRow(event.target.closest('.row')));
    this.#list.addEventListener('scroll', () => this.#list.scrollTop <= AT_TOP_PX && this.#showMissed(0), {
      passive: true,
    });
    this.#newer.addEventListener('click', () => this.toNewest());
    this.#follow.addEventListener('click', () => this.toNewest());
    store.subscribe((change) => this.#render(change));
  }

  focusSearch() {
    this.#filters.focusSearch();
  }

  /** Moves the selection; the newest event is first. */
  handleKey(event) {
    const steps = { ArrowUp: -1, ArrowDown: 1, PageUp: -PAGE_OF_ROWS, PageDown: PAGE_OF_ROWS };
    if (event.key === 'Home') this.toNewest();
    else if (event.key === 'End') this.#moveTo(Infinity);
    else if (event.key in steps) this.#moveTo(this.#selectedIndex() + steps[event.key]);
    else return;
    event.preventDefault();
    event.stopPropagation();
  }

  /** Lets go of the selected event and goes along with new ones. */
  toNewest() {
    this.#store.followNewest();
    this.#list.scrollTop = 0;
    this.#showMissed(0);
  }

  #foot() {
    const key = (name, what) => el('span', {}, el('kbd', { text: name }), ` ${what}`);
    return el(
      'footer',
      { class: 'foot' },
      this.#count,
      el('span', { class: 'keys' }, key('↑ ↓', 'move'), key('/', 'search'), key('Esc', 'newest')),
    );
  }

  #selectRow(row) {
    if (row) this.#store.select(this.#rows.get(Number(row.dataset.id)).summary);
  }

  /** From the top. A selected event that is no longer listed was the oldest. */
  #selectedIndex() {
    const index = this.#newestFirst().findIndex(({ summary }) => summary.id === this.#store.selected?.id);
    return index < 0 ? this.#rows.size : index;
  }

  #moveTo(index) {
    const rows = this.#newestFirst();
    const row = rows[Math.max(0, Math.min(index, rows.length - 1))];
    if (!row) return;
    this.#store.select(row.summary);
    this.#reveal(row);
  }

  #reveal(row) {
    row?.element.scrollIntoView({ block: 'nearest' });
  }

  #newestFirst() {
    return [...this.#rows.values()].reverse();
  }

  #render(change) {
    if (change.reset || change.filter) this.#rebuild();
    else if (change.events) this.#addRows(change.added);
    this.#list.classList.toggle('several-devices', this.#store.devicesWithEvents().length > 1);
    this.#renderCount();
    this.#renderSelection();
    // A list that was made anew begins at its top; what is held on to stays in sight.
    if ((change.reset || change.filter) && !this.#store.following) this.#reveal(this.#shownSelection);
  }

  #rebuild() {
    for (const row of this.#rows.values()) this.#spareRows.push(row);
    this.#rows.clear();
    this.#list.replaceChildren();
    this.#prepend(this.#store.visibleEvents());
    this.#list.scrollTop = 0;
    this.#showMissed(0);
  }

  #addRows(added) {
    this.#dropOldRows();
    const count = this.#prepend(added.filter((summary) => this.#store.matches(summary)));
    if (count === 0) return;
    const { scrollTop } = this.#list;
    if (this.#store.following && scrollTop <= AT_TOP_PX) return;
    this.#list.scrollTop = scrollTop + count * this.#list.firstChild.offsetHeight;
    this.#showMissed(this.#list.scrollTop > AT_TOP_PX ? this.#missed + count : 0);
  }

  #dropOldRows() {
    const oldest = this.#store.events[0].id;
    for (const [id, row] of this.#rows) {
      if (id >= oldest) return;
      row.element.remove();
      this.#rows.delete(id);
      this.#spareRows.push(row);
    }
  }

  #prepend(summaries) {
    const elements = summaries.map((summary) => {
      const row = this.#spareRows.pop() ?? new TimelineRow();
      row.show(summary);
      this.#rows.set(summary.id, row);
      return row.element;
    });
    this.#list.prepend(...elements.reverse());
    return elements.length;
  }

  #renderSelection() {
    const row = this.#rows.get(this.#store.selected?.id) ?? null;
    if (row !== this.#shownSelection || row?.element.getAttribute('aria-selected') !== 'true') {
      this.#shownSelection?.mark(false);
      row?.mark(true);
      this.#shownSelection = row;
    }
    if (row) this.#list.setAttribute('aria-activedescendant', row.element.id);
    else this.#list.removeAttribute('aria-activedescendant');
    this.#follow.setAttribute('aria-pressed', String(this.#store.following));
  }

  #showMissed(count) {
    this.#missed = count;
    this.#newer.hidden = count === 0;
    setText(this.#newer, `↑ ${plural(count, 'new event')}`);
  }

  #renderCount() {
    const { events, limit, isFiltered } = this.#store;
    const all = events.length >= limit ? `the last ${plural(limit, 'event')}` : plural(events.length, 'event');
    setText(this.#count, isFiltered ? `${this.#rows.size} of ${all}` : all);
    this.#none.hidden = this.#rows.size > 0;
  }
}

function clearButton(connection) {
  const button = el('button', { class: 'quiet', text: 'Clear', title: 'Forget all events' });
  button.addEventListener('click', async () => {
    const answer = await connection.clear();
    if (!answer.ok) notice(answer.error);
  });
  return button;
}
