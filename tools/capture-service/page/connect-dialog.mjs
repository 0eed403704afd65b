// How one more device is brought here, once there is something else to see.

import { ConnectCard, connectSteps } from './connect-card.mjs';
import { el, icon } from './dom.mjs';

export class ConnectDialog {
  #dialog;
  #card;

  constructor(dialog, store) {
    this.#dialog = dialog;
    this.#card = new ConnectCard(store);
    const close = el('button', { class: 'quiet', 'aria-label': 'Close', onclick: () => dialog.close() }, icon('close'));
    dialog.append(
      el('header', {}, el('h2', { text: 'Connect a device' }), close),
      el('div', { class: 'connect' }, connectSteps(), this.#card.element),
    );
  }

  open() {
    this.#card.render();
    this.#dialog.showModal();
  }
}
