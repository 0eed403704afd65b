// A device among the others, and what it shares with the stage: its name, picture, pair code, and what can be done next.

import { appText, el, icon, notice, setText } from './dom.mjs';
import { minuteTime, plural } from './format.mjs';

export const deviceName = (device) => device.name || device.type || 'Unnamed device';

const STATES = {
  available: { words: () => 'Ready to pair', announcement: 'is ready to pair' },
  asked: { words: () => 'Compare the code in the app', announcement: 'was asked to pair' },
  paired: { words: (device) => `Paired since ${minuteTime(device.since)}`, announcement: 'is paired' },
  gone: { words: (device) => `Left at ${minuteTime(device.since)}`, announcement: 'left' },
};
export const stateOf = (device) => STATES[device.state] ?? STATES.available;

export const pictureOf = (device) => icon(/ipad|tablet/i.test(`${device.type} ${device.name}`) ? 'tablet' : 'phone');

/** The digits, large; read one by one to those who hear them. */
export function pairCode(device) {
  const code = device.pairCode ?? '';
  return el('p', { class: 'code', role: 'img', 'aria-label': `Pair code ${[...code].join(' ')}`, text: code });
}

/** The one thing to do with the device in its state, or null. */
export function deviceAction(device, connection) {
  const button = (label, kind, request, spoken) => {
    const element = el('button', { class: kind, text: label, 'aria-label': `${spoken} ${deviceName(device)}` });
    element.addEventListener('click', async () => {
      element.disabled = true;
      const answer = await request(device.id);
      element.disabled = false;
      if (!answer.ok) notice(answer.error);
    });
    return element;
  };
  if (device.state === 'available') return button('Pair', 'primary', connection.pair, 'Pair with');
  if (device.state === 'asked') return button('Cancel', '', connection.unpair, 'Cancel the request to');
  if (device.state === 'paired') return button('Disconnect', '', connection.unpair, 'Disconnect');
  return null;
}

/** Puts new content in, and keeps the keyboard where it was: on the first thing to press. */
export function replaceKeepingFocus(parent, ...children) {
  const hadFocus = parent.contains(document.activeElement);
  parent.replaceChildren(...children.filter(Boolean));
  if (hadFocus) parent.querySelector('button')?.focus();
}

function aboutLine({ type, appVersion }) {
  const line = el('p');
  if (type) line.append(appText(type));
  if (appVersion) line.append(type ? ' · app ' : 'app ', appText(appVersion));
  line.title = line.textContent;
  return line;
}

export class DeviceCard {
  element = el('li', { class: 'device' });
  state = null;
  #count = el('span', { class: 'count' });
  #shown = '';

  show(device, connection) {
    setText(this.#count, device.events > 0 ? plural(device.events, 'event') : '');
    // While events arrive only their number changes; buttons under the pointer stay.
    const { events, lastSeen, ...rest } = device;
    const shown = JSON.stringify(rest);
    if (shown === this.#shown) return;
    this.#shown = shown;
    this.state = device.state;
    this.element.dataset.state = device.state;
    replaceKeepingFocus(
      this.element,
      pictureOf(device),
      el(
        'div',
        { class: 'device-about' },
        el('h3', { text: deviceName(device), title: deviceName(device) }),
        aboutLine(device),
      ),
      el(
        'p',
        { class: 'device-state' },
        el('span', { class: 'dot', 'aria-hidden': true }),
        el('span', { text: stateOf(device).words(device) }),
      ),
      device.state === 'asked' && pairCode(device),
      el('div', { class: 'device-foot' }, this.#count, deviceAction(device, connection)),
    );
  }
}
