// The devices that announced themselves.

import { DeviceCard, deviceName, stateOf } from './device-card.mjs';
import { announce, el, icon } from './dom.mjs';

export class Devices {
  #store;
  #connection;
  #cards = new Map(); // by the device's id
  #list = el('ul', { class: 'device-list' });
  #none = el('p', { class: 'empty', text: 'None yet. Apps appear here by themselves.' });

  constructor(root, store, connection, openConnect) {
    this.#store = store;
    this.#connection = connection;
    const connect = el(
      'button',
      { class: 'connect-button', onclick: openConnect },
      icon('plus'),
      el('span', { text: 'Connect a device' }),
    );
    root.append(el('h2', { text: 'Devices' }), this.#none, this.#list, connect);
    store.subscribe((change) => {
      if (change.devices || change.reset) this.#render(change);
    });
  }

  #render(change) {
    const { devices } = this.#store;
    this.#none.hidden = devices.size > 0;
    for (const [id, card] of this.#cards) {
      if (devices.has(id)) continue;
      card.element.remove();
      this.#cards.delete(id);
    }
    for (const device of devices.values()) this.#show(device, !change.reset);
  }

  #show(device, isNews) {
    let card = this.#cards.get(device.id);
    if (!card) {
      card = new DeviceCard();
      this.#cards.set(device.id, card);
      this.#list.append(card.element);
    }
    const before = card.state;
    card.show(device, this.#connection);
    if (isNews && before !== device.state) announce(`${deviceName(device)} ${stateOf(device).announcement}`);
  }
}
