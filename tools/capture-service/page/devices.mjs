// The devices that announced themselves: a card each, above the events.

import { DeviceCard, stateOf } from './device-card.mjs';
import { deviceName } from './device-cards.mjs';
import { announce, el, place } from './dom.mjs';

export class Devices {
  #store;
  #connection;
  #cards = new Map(); // by key
  #list = el('ul', { class: 'device-list' });

  constructor(root, store, connection) {
    this.#store = store;
    this.#connection = connection;
    root.append(this.#list);
    store.subscribe((change) => {
      if (change.devices || change.reset || change.events) this.#render(!change.reset);
    });
  }

  #render(isNews) {
    const { cards } = this.#store;
    const keys = new Set(cards.map(({ key }) => key));
    for (const [key, card] of this.#cards) {
      if (keys.has(key)) continue;
      card.element.remove();
      this.#cards.delete(key);
    }
    const order = cards.toSorted((one, other) => isGone(one) - isGone(other));
    let before = this.#list.firstChild;
    for (const told of order) {
      let card = this.#cards.get(told.key);
      if (!card) this.#cards.set(told.key, (card = new DeviceCard()));
      const was = card.state;
      card.show(told, this.#countOf(told), this.#connection);
      before = place(this.#list, card.element, before);
      if (isNews && was !== card.state) announce(`${deviceName(told.device)} ${stateOf(told.device).announcement}`);
    }
  }

  #countOf({ visits }) {
    const ids = new Set(visits.map(({ id }) => id));
    return this.#store.events.filter(({ device }) => ids.has(device)).length;
  }
}

const isGone = ({ device }) => Number(device.state === 'gone');
