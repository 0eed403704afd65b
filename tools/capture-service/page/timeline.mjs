// The events as a story, newest on top: a scene for each screen, with a break for each session. Rows are used again, and new
// ones never move what is being read: away from the top the list is scrolled along with them.

import { ExportMenu } from './export.mjs';
import { el, notice, place, setText } from './dom.mjs';
import { plural } from './format.mjs';
import { scenesOf } from './story.mjs';
import { TimelineFilters } from './timeline-filters.mjs';
import { TimelineRow, TimelineScene } from './timeline-row.mjs';

const PAGE_OF_ROWS = 10;
const AT_TOP_PX = 4;

export class Timeline {
  #store;
  #onOpen;
  #filters;
  #rows = new Map(); // by the event's id
  #order = []; // the same, as they stand
  #scenes = new Set();
  #spareRows = [];
  #shownSelection = null; // the row that is marked
  #missed = 0; // rows that came in above while older ones were read

  #follow = el(
    'button',
    { class: 'follow', title: 'Select the newest event whenever one arrives' },
    el('span', { class: 'dot', 'aria-hidden': true }),
    el('span', {}, 'Follow', el('span', { class: 'follow-what', text: ' newest' })),
  );
  #clear = el('button', { class: 'quiet', text: 'Clear', title: 'Empty the list on this page. The service keeps the events.' });
  #count = el('span', { class: 'count' });
  #list = el('div', { class: 'rows', role: 'listbox', tabindex: '0', 'aria-label': 'Events, newest first' });
  #newer = el('button', { class: 'newer', hidden: true });
  #nothing = el('p');
  #showAll = el('button', { text: 'Show all events', onclick: () => this.#filters.clear() });
  #none = el('div', { class: 'no-match', hidden: true }, this.#nothing, this.#showAll);

  /** `onOpen()` is called when somebody asks for an event. */
  constructor(root, store, { onOpen }) {
    this.#store = store;
    this.#onOpen = onOpen;
    this.#filters = new TimelineFilters(store, {
      tools: [this.#follow],
      onLeave: () => this.#list.focus(),
    });
    root.append(
      this.#filters.element,
      el('div', { class: 'rows-frame' }, this.#list, this.#newer, this.#none),
      this.#foot(),
    );
    this.#list.addEventListener('keydown', (event) => this.handleKey(event));
    this.#list.addEventListener('click', (event) => this.#openRow(event.target.closest('.row')));
    this.#list.addEventListener('scroll', () => this.#list.scrollTop <= AT_TOP_PX && this.#showMissed(0), {
      passive: true,
    });
    this.#newer.addEventListener('click', () => this.toNewest());
    this.#follow.addEventListener('click', () => (store.following ? store.stopFollowing() : this.toNewest()));
    this.#clear.addEventListener('click', () => this.#clearAll());
    store.subscribe((change) => this.#render(change));
  }

  focus() {
    this.#list.focus();
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
    else if (event.key === 'Enter' && this.#shownSelection) this.#openRow(this.#shownSelection.element);
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
      { class: 'foot faint' },
      this.#count,
      el('span', { class: 'keys' }, key('↑ ↓', 'move'), key('Esc', 'newest')),
      this.#clear,
      new ExportMenu(this.#store).element,
    );
  }

  #clearAll() {
    const { length } = this.#store.events;
    if (length === 0) return;
    notice(`Cleared ${plural(length, 'event')} from this page.`, this.#store.clearEvents());
  }

  #openRow(row) {
    if (!row) return;
    this.#store.select(this.#rows.get(Number(row.dataset.id)).summary);
    this.#onOpen();
  }

  /** From the top. A selected event that is no longer listed was the oldest. */
  #selectedIndex() {
    const index = this.#order.findIndex(({ summary }) => summary.id === this.#store.selected?.id);
    return index < 0 ? this.#order.length : index;
  }

  #moveTo(index) {
    const row = this.#order[Math.max(0, Math.min(index, this.#order.length - 1))];
    if (!row) return;
    this.#store.select(row.summary);
    this.#reveal(row);
  }

  #reveal(row) {
    row?.element.scrollIntoView({ block: 'nearest' });
  }

  #render(change) {
    const isOther = change.reset || change.filter;
    if (isOther || change.events || change.devices) this.#keepingPlace(isOther, () => this.#sync(change.reset));
    if (change.matches) for (const [id, row] of this.#rows) row.showMatch(this.#store.matches.has(id));
    this.#renderCount();
    this.#renderSelection();
    // A list that was made anew begins at its top; what is held on to stays in sight.
    if (isOther && !this.#store.following) this.#reveal(this.#shownSelection);
  }

  /** Changes the list. What is read stays where it is, unless the list becomes another one. */
  #keepingPlace(isOther, change) {
    const { scrollTop } = this.#list;
    const isRead = !isOther && !(this.#store.following && scrollTop <= AT_TOP_PX);
    const anchor = isRead ? this.#firstInSight() : null;
    const before = anchor?.element.getBoundingClientRect().top;
    const added = change();
    if (isOther) {
      this.#list.scrollTop = 0;
      this.#showMissed(0);
    } else if (anchor?.element.isConnected) {
      this.#list.scrollTop += anchor.element.getBoundingClientRect().top - before;
      this.#showMissed(this.#list.scrollTop > AT_TOP_PX ? this.#missed + added : 0);
    }
  }

  #firstInSight() {
    const { top } = this.#list.getBoundingClientRect();
    return this.#order.find(({ element }) => element.getBoundingClientRect().bottom > top);
  }

  /** Makes the list what the store says, and touches only what differs. Returns how many rows are new. */
  #sync(isReset) {
    const events = this.#store.visibleEvents();
    const wanted = new Set(events.map(({ id }) => id));
    for (const [id, row] of this.#rows) {
      if (wanted.has(id) && !isReset) continue;
      row.element.remove();
      this.#rows.delete(id);
      this.#spareRows.push(row);
    }
    const known = this.#rows.size;
    const several = this.#store.cards.length > 1;
    const scenes = new Set();
    this.#order = [];
    let before = this.#list.firstChild;
    for (const told of scenesOf(events)) {
      const rows = told.events.map((summary) => this.#rowOf(summary, told.gaps));
      const scene = rows.find((row) => row.scene?.key === told.key && !scenes.has(row.scene))?.scene;
      const shown = scene ?? new TimelineScene(told.key);
      shown.show(told, several && this.#store.nameOf(told.events[0]));
      shown.hold(rows);
      before = place(this.#list, shown.element, before);
      scenes.add(shown);
      this.#order.push(...rows);
    }
    for (const scene of this.#scenes) if (!scenes.has(scene)) scene.element.remove();
    this.#scenes = scenes;
    return this.#rows.size - known;
  }

  #rowOf(summary, gaps) {
    let row = this.#rows.get(summary.id);
    if (!row) {
      row = this.#spareRows.pop() ?? new TimelineRow();
      row.scene = null;
      row.show(summary);
      row.showMatch(this.#store.matches.has(summary.id));
      this.#rows.set(summary.id, row);
    }
    row.showGap(gaps.get(summary.id));
    return row;
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
    if (count === 0 && document.activeElement === this.#newer) this.#list.focus(); // the button goes
    this.#newer.hidden = count === 0;
    setText(this.#newer, `↑ ${plural(count, 'new event')}`);
  }

  #renderCount() {
    const { events, limit, isFiltered, hasCleared } = this.#store;
    const all = events.length >= limit ? `the last ${plural(limit, 'event')}` : plural(events.length, 'event');
    setText(this.#count, isFiltered ? `${this.#order.length} of ${all}` : all);
    this.#none.hidden = this.#order.length > 0;
    const isEmpty = events.length === 0 && hasCleared;
    setText(this.#nothing, isEmpty ? 'Cleared. New events appear here.' : 'No event matches.');
    this.#showAll.hidden = isEmpty;
  }
}
