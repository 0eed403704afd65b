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
    for (const told of cards) this.#show(told, isNews);
    const focused = document.activeElement;
    this.#arrange(cards);
    if (document.activeElement !== focused) focused.focus();
  }

  #show(told, isNews) {
    let card = this.#cards.get(told.key);
    if (!card) this.#cards.set(told.key, (card = new DeviceCard()));
    const was = card.state;
    card.show(told, this.#countOf(told), this.#connection);
    if (isNews && was !== card.state) announce(`${deviceName(told.device)} ${stateOf(told.device).announcement}`);
  }

  /** Those that are gone come last. They are what is moved: a button of the others may be under the pointer. */
  #arrange(cards) {
    const elementOf = ({ key }) => this.#cards.get(key).element;
    const [here, gone] = [false, true].map((wanted) => cards.filter((card) => isGone(card) === wanted).map(elementOf));
    for (const element of gone) if (here.some((other) => isBefore(element, other))) this.#list.append(element);
    let before = this.#list.firstChild;
    for (const element of [...here, ...gone]) before = place(this.#list, element, before);
  }

  #countOf({ visits }) {
    const ids = new Set(visits.map(({ id }) => id));
    return this.#store.events.filter(({ device }) => ids.has(device)).length;
  }
}

const isGone = ({ device }) => device.state === 'gone';
const isBefore = (node, other) => (node.compareDocumentPosition(other) & Node.DOCUMENT_POSITION_FOLLOWING) !== 0;
