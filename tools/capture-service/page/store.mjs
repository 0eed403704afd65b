// What the page knows: connection, devices, the last events, the filter and the selection. The service is the authority for
// all but the last two. Views subscribe and are told once a frame, whatever arrived in between; a page that is not shown is
// told when it is shown again, and holds no more meanwhile.

import { cardsOf, deviceName } from './device-cards.mjs';
import { kindOf, titleOf } from './format.mjs';
import { remember, remembered } from './remembered.mjs';
import { insertByTime, newestOf } from './story.mjs';

const ENVIRONMENT = 'environment-id';
const CLEARED = 'cleared-at';

export class Store {
  connection = 'connecting'; // or 'live', 'stalled', 'lost'
  envId = null; // the service's own
  typedEnvId = remembered(ENVIRONMENT) ?? '';
  limit = 500;
  devices = new Map(); // by the service's id, in order of arrival
  cards = []; // the devices as people see them, see cardsOf
  events = []; // those that this page shows, by their own time, oldest first
  filter = { text: '', kinds: new Set(), device: null }; // no kinds: all of them; the device is a card's key
  selected = null; // the summary in the detail; it may outlive its place among the events
  following = true; // of the events that the filter lets through, the newest is the selected one
  matches = new Set(); // ids of the events that go through the node that is looked at

  #arrived = []; // all that the service keeps, in the order of arrival
  #clearedAt = Number(remembered(CLEARED, 'sessionStorage') ?? 0); // received until then: not shown by this page
  #listeners = [];
  #changed = null; // what the next frame tells

  /** `listener({ reset, events, devices, connection, filter, selection, matches, environment })`, of those that changed. */
  subscribe(listener) {
    this.#listeners.push(listener);
  }

  setConnection(connection) {
    if (this.connection === connection) return;
    this.connection = connection;
    this.#note('connection');
  }

  typeEnvironment(text) {
    this.typedEnvId = text;
    remember(ENVIRONMENT, text);
    this.#note('environment');
  }

  /** All of it, after a connection was made. Ids of a service that was restarted begin anew. */
  replaceAll({ devices, events, envId, limit }) {
    const newest = this.#arrived.at(-1);
    const known = newest && events.find(({ id }) => id === newest.id);
    this.envId = envId ?? null;
    this.limit = limit;
    this.#setDevices(devices.map((device) => [device.id, device]));
    this.#arrived = events.slice(-limit);
    if (newest && known?.receivedAt !== newest.receivedAt) this.#forgetSelection();
    this.#list();
  }

  setDevice(device) {
    this.#setDevices([...this.devices, [device.id, device]]);
    this.#note('devices');
  }

  removeDevice(id) {
    this.#setDevices([...this.devices].filter(([other]) => other !== id));
    this.#note('devices');
  }

  addEvent(summary) {
    this.#arrived.push(summary);
    insertByTime(this.events, summary);
    if (this.#arrived.length > this.limit) {
      const oldest = this.events.indexOf(this.#arrived.shift());
      if (oldest >= 0) this.events.splice(oldest, 1);
    }
    this.#note('events');
  }

  /** Shows none of the events so far. Returns what shows them again. */
  clearEvents() {
    const before = this.#clearedAt;
    this.#setClearedAt(Math.max(before, ...this.#arrived.map(({ receivedAt }) => receivedAt)));
    return () => this.#setClearedAt(Math.min(before, this.#clearedAt)); // an earlier one may have been taken back meanwhile
  }

  /** Whether events that the service keeps are not shown. */
  get hasCleared() {
    return this.events.length < this.#arrived.length;
  }

  setFilter(changes) {
    Object.assign(this.filter, changes);
    this.#note('filter');
  }

  get isFiltered() {
    return this.filter.text !== '' || this.filter.kinds.size > 0 || this.filter.device !== null;
  }

  /** Whether the filter lets the event through. The search looks at all that a row shows, in any case. */
  matchesFilter(summary) {
    const { text, kinds, device } = this.filter;
    if (kinds.size > 0 && !kinds.has(kindOf(summary))) return false;
    if (device !== null && this.cardOf(summary.device)?.key !== device) return false;
    if (text === '') return true;
    const { selector, screen, controller, deviceName, name } = summary;
    const shown = [titleOf(summary), selector, screen, controller, deviceName, name];
    return shown.some((part) => part?.toLowerCase().includes(text.toLowerCase()));
  }

  visibleEvents() {
    return this.isFiltered ? this.events.filter((summary) => this.matchesFilter(summary)) : this.events;
  }

  cardOf(device) {
    return this.cards.find(({ visits }) => visits.some(({ id }) => id === device));
  }

  /** Whose event it is, for people; null when nobody knows. */
  nameOf({ device, deviceName: told }) {
    const card = this.cardOf(device);
    return card ? deviceName(card.device) : told || null;
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

  /** Holds on to what is selected now. */
  stopFollowing() {
    if (this.selected) this.select(this.selected);
  }

  setMatches(ids) {
    this.matches = new Set(ids);
    this.#note('matches');
  }

  #setDevices(entries) {
    this.devices = new Map(entries);
    this.cards = cardsOf([...this.devices.values()]);
  }

  #setClearedAt(time) {
    this.#clearedAt = time;
    remember(CLEARED, String(time), 'sessionStorage');
    this.#forgetSelection();
    this.#list();
  }

  #list() {
    this.events = [];
    for (const summary of this.#arrived) if (summary.receivedAt > this.#clearedAt) insertByTime(this.events, summary);
    this.#note('reset');
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
    if (this.following) {
      const newest = newestOf(this.visibleEvents());
      if (newest !== this.selected) change.selection = true;
      this.selected = newest;
    }
    for (const listener of this.#listeners) listener(change);
  }
}
