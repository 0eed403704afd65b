// A device among the others, a line that opens to what is known of it, and what it shares with the stage: its name, picture, pair code, and what can be done next.

import { deviceName } from './device-cards.mjs';
import { appText, el, icon, notice, replaceKeepingFocus, setText } from './dom.mjs';
import { minuteTime, plural } from './format.mjs';

const WAKE = 'Wake the Event Visualizer in the app again: open the link, hold four fingers, or shake.';
// Of a device that is gone, by why: what happened, and what to do.
const FAREWELLS = {
  left: ['Left', 'The app was left, or ended the pairing. It comes back when it is opened again.'],
  lost: ['Lost', `The connection broke. Leave the app and open it again, or: ${WAKE.replace('Wake', 'wake')}`],
  refused: ['Refused', `“Reject” was pressed in the app, or the connection broke. ${WAKE}`],
  disconnected: ['Disconnected', WAKE],
  late: ['Disconnected', `The app accepted a request that was cancelled. ${WAKE}`],
};
const farewellOf = ({ note }) => FAREWELLS[note] ?? FAREWELLS.left;

const CANCELLED = 'Cancelled. The app may show the old code until you ask again.';
// `brief` is what the line has room for.
const STATES = {
  available: {
    brief: ({ note }) => (note === 'cancelled' ? 'Cancelled' : 'Ready'),
    words: ({ note }) => (note === 'cancelled' ? CANCELLED : 'Ready to pair'),
    announcement: 'is ready to pair',
  },
  asked: { brief: () => 'Compare the code', words: () => 'Compare the code in the app', announcement: 'was asked to pair' },
  paired: { brief: () => 'Live', words: (device) => `Live since ${minuteTime(device.since)}`, announcement: 'is paired' },
  gone: {
    brief: (device) => `${farewellOf(device)[0]} ${minuteTime(device.since)}`,
    words: (device) => `${farewellOf(device)[0]} at ${minuteTime(device.since)}`,
    announcement: 'left',
  },
};
export const stateOf = (device) => STATES[device.state] ?? STATES.available;

/** What to do about a device, in a sentence; empty when there is nothing. */
export const adviceOf = (device) => (device.state === 'gone' ? farewellOf(device)[1] : '');

export const pictureOf = (device) => icon(/ipad|tablet/i.test(`${device.type} ${device.name}`) ? 'tablet' : 'phone');

/** The digits, large; read one by one to those who hear them. */
export function pairCode(device) {
  const code = device.pairCode ?? '';
  return el('p', { class: 'code', role: 'img', 'aria-label': `Pair code ${[...code].join(' ')}`, text: code });
}

/** The one thing to do with the device in its state, or null. */
export function deviceAction(device, connection) {
  const button = (label, kind, request, spoken) => {
    const named = { 'aria-label': `${spoken} ${deviceName(device)}`, 'data-device': device.id };
    const element = el('button', { class: kind, text: label, ...named });
    element.addEventListener('click', async () => {
      if (element.hasAttribute('aria-disabled')) return;
      element.setAttribute('aria-disabled', 'true'); // it keeps the focus
      const answer = await request(device.id);
      element.removeAttribute('aria-disabled');
      if (!answer.ok) notice(answer.error);
    });
    return element;
  };
  if (device.state === 'available') return button('Pair', 'primary', connection.pair, 'Pair with');
  if (device.state === 'asked') return button('Cancel', '', connection.cancel, 'Cancel the request to');
  if (device.state === 'paired') return button('Disconnect', '', connection.unpair, 'Disconnect');
  return null;
}

/** Its earlier visits, newest first. */
function historyOf({ device, visits }) {
  const earlier = visits.filter((visit) => visit !== device).reverse();
  const lines = earlier.map((visit) => el('li', { text: `${stateOf(visit).words(visit)} · ${plural(visit.events, 'event')}` }));
  return lines.length > 0 ? [el('p', { text: `${plural(lines.length, 'earlier visit')}:` }), el('ul', {}, ...lines)] : [];
}

function aboutOf({ type, appVersion }) {
  return [type, appVersion && `app ${appVersion}`].filter(Boolean).join(' · ');
}

export class DeviceCard {
  element = el('li', { class: 'device' });
  state = null;
  #count = el('span', { class: 'count' });
  #shown = '';

  /** `count`: how many of the listed events are the device's. */
  show(card, count, connection) {
    const { device, visits } = card;
    setText(this.#count, count > 0 ? ` · ${plural(count, 'event')}` : '');
    // While events arrive only their number changes; buttons under the pointer stay.
    const shown = JSON.stringify(visits.map(({ events, lastSeen, ...rest }) => rest));
    if (shown === this.#shown) return;
    this.#shown = shown;
    this.state = device.state;
    this.element.dataset.state = device.state;
    const isOpen = this.element.querySelector('details')?.open ?? false;
    replaceKeepingFocus(
      this.element,
      el('details', { class: 'faint', open: isOpen }, this.#line(device), ...tellAll(card)),
      deviceAction(device, connection),
      device.state === 'asked' && pairCode(device),
    );
  }

  #line(device) {
    const name = deviceName(device);
    const words = stateOf(device).words(device);
    return el(
      'summary',
      { class: 'device-line', 'data-device': device.id },
      pictureOf(device),
      el('h3', { class: 'cut', text: name, title: name }),
      el('span', { class: 'dot', 'aria-hidden': true }),
      el('span', { class: 'device-state cut', title: words }, stateOf(device).brief(device), this.#count),
      adviceOf(device) !== '' && el('span', { class: 'advice', text: 'What to do' }),
    );
  }
}

/** All that is known of a device, and what to do about it. */
function tellAll(card) {
  const { device } = card;
  const words = stateOf(device).words(device).replace(/[^.]$/, '$&.');
  const about = aboutOf(device);
  return [el('p', { text: `${words} ${adviceOf(device)}` }), about && el('p', { text: about }), ...historyOf(card)];
}

/** The names of devices in a sentence: "Ada’s iPhone and Grace’s iPad". */
export const namesOf = (devices) =>
  devices.flatMap((device, index) => [index > 0 && ' and ', appText(deviceName(device))]).filter(Boolean);
