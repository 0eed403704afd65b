// What the page knows: connection, devices, the last events, the filter and the selection. The service is the authority for
// all but the last two. Views subscribe and are told once a frame, whatever arrived in between; a page that is not shown is
// told when it is shown again, and holds no more meanwhile.

import { kindOf } from './format.mjs';

export class Store {
  connection = 'connecting'; // or 'live', 'lost'
  envId = null;
  limit = 500;
  devices = new Map(); // by the service's id, in order of arrival
  events = []; // oldest first, `limit` at most
  filter = { text: '', kinds: new Set(), device: null }; // no kinds: all of them
  selected = null; // the summary in the detail; it may outlive its place among the events
  following = true; // the newest event that the filter lets through is the selected one

  #listeners = [];
  #changed = null; // what the next frame tells
  #lastTold = 0; // id of the newest event that the views have seen

  /** `listener({ reset, added, devices, connection, filter, selection })`: `added` are summaries, oldest first. */
  subscribe(listener) {
    this.#listeners.push(listener);
  }

  setConnection(connection) {
    if (this.connection === connection) return;
    this.connection = connection;
    this.#note('connection');
  }

  /** All of it, after a connection was made. Ids of a service that was restarted begin anew. */
  replaceAll({ devices, events, envId, limit }) {
    const newest = this.events.at(-1);
    const known = newest && events.find(({ id }) => id === newest.id);
    this.envId = envId ?? null;
    this.limit = limit;
    this.devices = new Map(devices.map((device) => [device.id, device]));
    this.events = events.slice(-limit);
    if (newest && known?.receivedAt !== newest.receivedAt) this.#forgetSelection();
    if (!this.devices.has(this.filter.device)) this.filter.device = null;
    this.#note('reset');
  }

  setDevice(device) {
    this.devices.set(device.id, device);
    this.#note('devices');
  }

  removeDevice(id) {
    this.devices.delete(id);
    if (this.filter.device === id) this.setFilter({ device: null });
    this.#note('devices');
  }

  addEvent(summary) {
    this.events.push(summary);
    if (this.events.length > this.limit) this.events.shift();
    this.#note('events');
  }

  clearEvents() {
    this.events = [];
    this.#forgetSelection();
    this.#note('reset');
  }

  setFilter(changes) {
    Object.assign(this.filter, changes);
    this.#note('filter');
  }

  get isFiltered() {
    return this.filter.text !== '' || this.filter.kinds.size > 0 || this.filter.device !== null;
  }

  /** Whether the filter lets the event through. The search looks at all that a row shows, in any case. */
  matches(summary) {
    const { text, kinds, device } = this.filter;
    if (kinds.size > 0 && !kinds.has(kindOf(summary))) return false;
    if (device !== null && summary.device !== device) return false;
    if (text === '') return true;
    const shown = [summary.text, summary.name, summary.selector, summary.screen, summary.deviceName];
    return shown.some((part) => part?.toLowerCase().includes(text));
  }

  visibleEvents() {
    return this.isFiltered ? this.events.filter((summary) => this.matches(summary)) : this.events;
  }

  devicesWithEvents() {
    return [...this.devices.values()].filter((device) => device.events > 0 || device.state === 'paired');
  }

  /** Holds on to one event, whatever arrives. */
  select(summary) {
    if (this.selected === summary && !this.following) return;
    this.selected = summary;
    this.following = false;
    this.#note('selection');
  }

  followNewest() {
    this.following = true;
    this.#note('selection');
  }

  #forgetSelection() {
    this.selected = null;
    this.following = true;
  }

  #note(what) {
    if (!this.#changed) {
      this.#changed = {};
      requestAnimationFrame(() => this.#tell());
    }
    this.#changed[what] = true;
  }

  #tell() {
    const change = this.#changed;
    this.#changed = null;
    change.added = change.events && !change.reset ? this.#eventsAfter(this.#lastTold) : [];
    this.#lastTold = this.events.at(-1)?.id ?? 0;
    if (this.following) {
      const newest = this.visibleEvents().at(-1) ?? null;
      if (newest !== this.selected) change.selection = true;
      this.selected = newest;
    }
    for (const listener of this.#listeners) listener(change);
  }

  #eventsAfter(id) {
    const index = this.events.findLastIndex((summary) => summary.id <= id);
    return this.events.slice(index + 1);
  }
}
