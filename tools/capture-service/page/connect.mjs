// How an app is brought here: the steps in words, the address and the link; on the stage, and in a dialog once there is
// something else to see. The service listens on this machine alone, so that only apps on it can come.

import { copyButton } from './copy.mjs';
import { el, icon, setText } from './dom.mjs';

/** The link for the service's environment id, or for the one that is typed in. */
export class ConnectCard {
  element = el('div', { class: 'connect-card stack' });
  #store;
  #input = el('input', { inputmode: 'numeric', autocomplete: 'off', placeholder: 'digits only' });
  #problem = el('small', { role: 'status' });
  #field = el(
    'label',
    { class: 'field stack' },
    el('span', { text: 'Your app’s environment id' }),
    this.#input,
    this.#problem,
  );
  #link = el('code', { class: 'deep-link' });
  #reach = el(
    'div',
    { class: 'reach stack' },
    el('span', { text: 'The link to open in the app' }),
    this.#link,
    copyButton('Copy link', () => this.#link.textContent),
  );

  constructor(store) {
    this.#store = store;
    this.#input.addEventListener('input', () => store.typeEnvironment(this.#input.value));
    this.element.append(this.#field, this.#reach);
    store.subscribe((change) => (change.reset || change.environment) && this.#render());
    this.#render();
  }

  #render() {
    const { envId, typedEnvId } = this.#store;
    const typed = typedEnvId.trim();
    const isId = /^\d+$/.test(typed);
    this.#field.hidden = envId !== null;
    if (this.#input.value !== typedEnvId) this.#input.value = typedEnvId;
    setText(this.#problem, typed && !isId ? 'An environment id has digits only.' : 'It makes the link.');
    this.#problem.classList.toggle('wrong', typed !== '' && !isId);
    const id = envId ?? (isId ? typed : null);
    this.#reach.hidden = id === null;
    setText(this.#link, id === null ? '' : `kova-${id}://1/launch-ev`);
  }
}

/** The steps, with the address that an app is pointed at. */
export function connectSteps() {
  const step = (title, ...what) => el('li', {}, el('strong', { text: title }), el('p', { class: 'soft' }, ...what));
  return el(
    'ol',
    { class: 'steps' },
    step(
      'Point the app here',
      'Set ',
      el('code', { text: 'eventVisualizerWebSocketBaseUrl' }),
      ' to ',
      el('code', { text: `${location.origin}/` }),
      ' and start it on this machine, as a program or in a simulator: the service cannot be reached from elsewhere.',
    ),
    step(
      'Wake the Event Visualizer',
      'Open the link in the app, hold four fingers on its screen for five seconds, or shake the device.',
    ),
    step('Pair', 'The app appears on this page. Press Pair, compare the code, and press Accept in the app.'),
  );
}

export class ConnectDialog {
  /** `place` gets the button that opens the dialog. */
  constructor(dialog, place, store) {
    const open = el(
      'button',
      { class: 'quiet', 'aria-label': 'Connect a device', onclick: () => dialog.showModal() },
      icon('plus'),
      'Connect',
      el('span', { class: 'connect-what', text: 'a device' }),
    );
    place.append(open);
    const close = el('button', { class: 'quiet', 'aria-label': 'Close', onclick: () => dialog.close() }, icon('close'));
    dialog.append(
      el('header', { class: 'line spread' }, el('h2', { text: 'Connect a device' }), close),
      el('div', { class: 'connect' }, connectSteps(), new ConnectCard(store).element),
    );
  }
}
