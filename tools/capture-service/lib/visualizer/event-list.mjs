// The last events of all devices, numbered as they come. Bounded in number and in bytes: the oldest go first, and before
// an event goes for its size's sake its pictures do.

export const MAX_EVENTS = 500;
const MAX_PICTURE_BYTES = 256 * 1024 * 1024;
const MAX_TEXT_CHARACTERS = 64 * 1024 * 1024;

const pictureBytes = ({ screen, crop }) => (screen?.length ?? 0) + (crop?.length ?? 0);
const characters = ({ message, viewAncestry }) => message.length + (viewAncestry?.length ?? 0);

export class EventList {
  #events = [];
  #lastId = 0;
  #characters = 0;
  #pictureBytes = 0;
  #maxPictureBytes;

  constructor({ maxPictureBytes = MAX_PICTURE_BYTES } = {}) {
    this.#maxPictureBytes = maxPictureBytes;
  }

  /** Keeps a captured event of a device and returns its summary. `uploaded`: it came by upload, not over the socket. */
  add({ id: device, name: deviceName }, { summary, message, viewAncestry, boundingBox, screen, crop, uploaded = false }) {
    const facts = { id: ++this.#lastId, device, deviceName, receivedAt: Date.now(), uploaded, ...summary };
    const event = { facts, message, viewAncestry, boundingBox, screen, crop };
    this.#events.push(event);
    this.#characters += characters(event);
    this.#pictureBytes += pictureBytes(event);
    this.#dropOldest();
    return summarise(event);
  }

  #dropOldest() {
    for (const event of this.#events) {
      if (this.#pictureBytes <= this.#maxPictureBytes) break;
      this.#pictureBytes -= pictureBytes(event);
      event.screen = event.crop = null;
    }
    while (this.#events.length > MAX_EVENTS || this.#characters > MAX_TEXT_CHARACTERS) {
      const dropped = this.#events.shift();
      this.#characters -= characters(dropped);
      this.#pictureBytes -= pictureBytes(dropped);
    }
  }

  /** { summary, message, viewAncestry, boundingBox, screen, crop } of an event that is kept, or undefined. */
  find(id) {
    const event = this.#events.find(({ facts }) => facts.id === id);
    return event && { ...event, summary: summarise(event) };
  }

  hasEventsOf(device) {
    return this.#events.some(({ facts }) => facts.device === device);
  }

  /** Whether the message of that id has been shown although it came by upload. */
  hasUploaded(messageId) {
    return this.#events.some(({ facts }) => facts.uploaded && facts.message === messageId);
  }

  /** The ids of the events whose ancestry, parsed, passes. */
  idsWhere(passes) {
    const withAncestry = this.#events.filter(({ viewAncestry }) => viewAncestry !== null);
    return withAncestry.filter(({ viewAncestry }) => passes(JSON.parse(viewAncestry))).map(({ facts }) => facts.id);
  }

  get size() {
    return this.#events.length;
  }

  summaries() {
    return this.#events.map(summarise);
  }
}

/** Pictures may have gone since the event came. */
function summarise({ facts, screen, crop, viewAncestry }) {
  return { ...facts, hasScreen: screen !== null, hasCrop: crop !== null, hasAncestry: viewAncestry !== null };
}
