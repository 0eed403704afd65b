// What stands in the middle until there are events: the next step, whatever it is.

import { ConnectCard, connectSteps } from './connect-card.mjs';
import { deviceAction, deviceName, pairCode, pictureOf, replaceKeepingFocus } from './device-card.mjs';
import { appText, el } from './dom.mjs';

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
      if (change.reset) this.#card.render();
      if (change.reset || change.devices || change.connection) this.#render();
    });
  }

  #render() {
    if (this.#store.connection === 'connecting') return;
    const [step, devices] = this.#nextStep();
    const shown = JSON.stringify([
      step,
      devices.map(({ id, name, type, state, pairCode: code }) => [id, name, type, state, code]),
    ]);
    if (shown === this.#shown) return;
    this.#shown = shown;
    this.#root.dataset.step = step;
    replaceKeepingFocus(this.#root, ...this.#contentOf(step, devices));
  }

  /** The devices that are furthest on the road, and where they are. */
  #nextStep() {
    const devices = [...this.#store.devices.values()];
    for (const state of ['asked', 'paired', 'available']) {
      const there = devices.filter((device) => device.state === state);
      if (there.length > 0) return [state, there];
    }
    return ['none', []];
  }

  #contentOf(step, devices) {
    if (step === 'asked') return devices.map((device) => this.#askedDevice(device));
    if (step === 'available') return devices.map((device) => this.#availableDevice(device));
    if (step === 'paired') return [this.#pairedDevices(devices)];
    return [
      el(
        'div',
        { class: 'hero' },
        el('h2', { text: 'Connect your app' }),
        el('p', { class: 'lead', text: 'See every touch and every screen here, the moment it happens.' }),
      ),
      el('div', { class: 'connect' }, connectSteps(), this.#card.element),
    ];
  }

  #askedDevice(device) {
    return el(
      'div',
      { class: 'hero tile' },
      el('h2', {}, 'Does ', appText(deviceName(device)), ' show this code?'),
      pairCode(device),
      el('p', { class: 'lead', text: 'If it does, press Accept in the app. If it shows another code, press Reject.' }),
      deviceAction(device, this.#connection),
    );
  }

  #availableDevice(device) {
    return el(
      'div',
      { class: 'hero tile' },
      pictureOf(device),
      el('h2', { text: deviceName(device) }),
      el('p', { class: 'lead', text: 'is here and waits to be paired.' }),
      deviceAction(device, this.#connection),
    );
  }

  #pairedDevices(devices) {
    const names = devices.flatMap((device, index) => [index > 0 && ' and ', appText(deviceName(device))]);
    return el(
      'div',
      { class: 'hero' },
      el('span', { class: 'pulse', 'aria-hidden': true }),
      el('h2', {}, 'Paired with ', ...names),
      el('p', { class: 'lead', text: 'Tap something in the app, or open a screen. It appears here.' }),
    );
  }
}
