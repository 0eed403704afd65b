// How an app is brought here: address, QR code and link, and the steps in words.

import { copyButton } from './copy.mjs';
import { el, setText } from './dom.mjs';
import { remember, remembered } from './remembered.mjs';

const REMEMBERED_ID = 'environment-id';

/** The QR code and the link for the service's environment id, or for the one that is typed in. */
export class ConnectCard {
  element = el('div', { class: 'connect-card' });
  #store;
  #id = null; // the one that is shown
  #field;
  #code = el('img', { class: 'qr', width: '208', height: '208' });
  #link = el('a', { class: 'deep-link' });
  #reach = el(
    'div',
    { class: 'reach', hidden: true },
    this.#code,
    el(
      'p',
      { class: 'link-line' },
      this.#link,
      copyButton('Copy link', () => this.#link.textContent),
    ),
  );

  constructor(store) {
    this.#store = store;
    const input = el('input', { inputmode: 'numeric', autocomplete: 'off', placeholder: 'digits only' });
    input.value = remembered(REMEMBERED_ID) ?? '';
    input.addEventListener('input', () => {
      remember(REMEMBERED_ID, input.value);
      this.render();
    });
    this.#field = el(
      'label',
      { class: 'field' },
      el('span', { text: 'Your app’s environment id' }),
      input,
      el('small', { text: 'It makes the QR code and the link.' }),
    );
    this.#code.alt = 'QR code of the pairing link';
    this.element.append(this.#field, this.#reach);
    this.render();
  }

  render() {
    const typed = this.#field.querySelector('input').value.trim();
    this.#field.hidden = this.#store.envId !== null;
    const id = this.#store.envId ?? (/^\d+$/.test(typed) ? typed : null);
    this.#reach.hidden = id === null;
    if (id === null || id === this.#id) return;
    this.#id = id;
    const link = `kova-${id}://1/launch-ev`;
    this.#code.src = `qr.svg?appId=${encodeURIComponent(id)}`;
    this.#link.href = link;
    setText(this.#link, link);
  }
}

/** The steps, with the address that an app is pointed at. */
export function connectSteps() {
  const address = location.origin;
  const step = (title, ...what) => el('li', {}, el('strong', { text: title }), el('p', {}, ...what));
  return el(
    'ol',
    { class: 'steps' },
    step(
      'Point the app here',
      'Set ',
      el('code', { text: 'eventVisualizerWebSocketBaseUrl' }),
      ' to ',
      el('code', { text: address }),
      ' and start it.',
    ),
    step(
      'Wake the Event Visualizer',
      'Scan the code with the device, or open the link on it. Holding four fingers on the screen for five seconds, or shaking the device, does the same.',
    ),
    step('Pair', 'The device appears on this page. Press Pair, compare the code, and press Accept in the app.'),
  );
}
