// Custom events are not sent over the socket: they come by upload alone. Those of a session that is seen live are shown
// beside its live events.

import { captureEvent } from './captured-event.mjs';

const MAX_SESSIONS = 100; // of which custom events are awaited; the oldest are forgotten first
const MAX_BACKLOG = 100; // of a session that begins to be live, lest it throws out what is
const CUSTOM = /"(?:customEvent|sourceCustomEvent)":/;

const isCustom = ({ event }) => event?.customEvent !== undefined || event?.sourceCustomEvent !== undefined;

export class UploadedEvents {
  #records;
  #events;
  #onEvent;
  #devices = new Map(); // by session, the one that was seen last
  #lastSeq;
  #take = () => this.#takeNew();

  /** `onEvent(device, captured)` gets each custom event once, after the first live event of its session. */
  constructor({ records, events, onEvent }) {
    this.#records = records;
    this.#events = events;
    this.#onEvent = onEvent;
    this.#lastSeq = records.lastSeq;
    records.on('added', this.#take);
  }

  close() {
    this.#records.off('added', this.#take);
  }

  /** The device has sent an event; what its session uploaded before belongs beside it. */
  noteLive({ session }, device) {
    if (session === null) return;
    const isNew = !this.#devices.delete(session);
    this.#devices.set(session, device);
    if (this.#devices.size > MAX_SESSIONS) this.#devices.delete(this.#devices.keys().next().value);
    if (!isNew) return;
    const lines = this.#records.select({ endpoint: 'track' }).filter((line) => line.includes(session));
    this.#takeFrom(lines.slice(-MAX_BACKLOG));
  }

  #takeNew() {
    const lines = this.#records.select({ endpoint: 'track', since: this.#lastSeq });
    this.#lastSeq = this.#records.lastSeq;
    if (this.#devices.size > 0) this.#takeFrom(lines);
  }

  #takeFrom(lines) {
    for (const line of lines.filter((text) => CUSTOM.test(text))) {
      const { valid, message } = JSON.parse(line);
      const device = valid && isCustom(message) && this.#devices.get(message.sessionInfo.id);
      if (!device || this.#events.hasUploaded(message.id)) continue; // sent twice when its answer was lost
      const { problem, ...captured } = captureEvent({ message }, {});
      if (problem === undefined) this.#onEvent(device, { ...captured, uploaded: true });
    }
  }
}
