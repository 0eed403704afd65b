// What stands in the middle until there are events: the next step, whatever it is.

import { ConnectCard, connectSteps } from './connect.mjs';
import { adviceOf, deviceAction, namesOf, pairCode, pictureOf, stateOf } from './device-card.mjs';
import { deviceName } from './device-cards.mjs';
import { appText, el, replaceKeepingFocus } from './dom.mjs';

export class Stage {
  #root;
  #store;
  #connection;
  #card;
  #shown = '';

  constructor(root, store, connection) {
    this.#root = root;
    this.#store = store;
    this.#connection = connection;
    this.#card = new ConnectCard(store);
    store.subscribe((change) => {
      if (change.reset || change.devices || change.connection) this.#render();
    });
  }

  #render() {
    if (this.#store.connection === 'connecting') return;
    const devices = this.#store.cards.map(({ device }) => device);
    const facts = devices.map(({ id, name, type, state, note, pairCode: code }) => [id, name, type, state, note, code]);
    const shown = JSON.stringify([facts, this.#store.envId]);
    if (shown === this.#shown) return;
    this.#shown = shown;
    replaceKeepingFocus(this.#root, ...this.#contentOf(devices));
  }

  /** Everybody who is to be asked or waits for an answer; else those who are there; else how to come here. */
  #contentOf(devices) {
    const inState = (...states) => devices.filter(({ state }) => states.includes(state));
    const tiles = inState('asked', 'available').map((device) => this.#tile(device));
    const paired = inState('paired');
    if (tiles.length > 0) return [el('div', { class: 'tiles' }, ...tiles)];
    if (paired.length > 0) return [pairedHero(paired)];
    return [
      ...inState('gone').map(farewell),
      el(
        'div',
        { class: 'hero' },
        el('img', { class: 'preview', src: 'preview.svg', alt: '' }),
        el('h2', { text: 'Connect your app' }),
        el('p', { class: 'lead soft', text: 'See every touch and every screen here, the moment it happens.' }),
      ),
      el('div', { class: 'connect' }, connectSteps(), this.#card.element),
    ];
  }

  #tile(device) {
    const action = deviceAction(device, this.#connection);
    const name = deviceName(device);
    if (device.state === 'asked')
      return el(
        'div',
        { class: 'hero tile' },
        el('h2', {}, 'Does ', appText(name), ' show this code?'),
        pairCode(device),
        el('p', { class: 'lead soft', text: 'If it does, press Accept in the app. If it shows another code, press Reject.' }),
        action,
      );
    const words = device.note === 'cancelled' ? stateOf(device).words(device) : 'is here and waits to be paired.';
    return el(
      'div',
      { class: 'hero tile' },
      pictureOf(device),
      el('h2', { text: name }),
      el('p', { class: 'lead soft', text: words }),
      action,
    );
  }
}

function pairedHero(devices) {
  return el(
    'div',
    { class: 'hero' },
    el('span', { class: 'pulse', 'aria-hidden': true }),
    el('h2', {}, 'Paired with ', ...namesOf(devices)),
    el('p', { class: 'lead soft', text: 'Tap something in the app, or open a screen. It appears here.' }),
  );
}

function farewell(device) {
  const title = el('strong', {}, appText(deviceName(device)), `: ${stateOf(device).words(device).toLowerCase()}. `);
  return el('p', { class: 'farewell' }, title, adviceOf(device));
}
