// The state of the connection and of the devices, always in sight, and what to do when the service does not answer.

import { copyButton } from './copy.mjs';
import { el, find, setText } from './dom.mjs';
import { plural } from './format.mjs';

const OUTAGES = {
  lost: ['The capture service does not answer.', 'If it was stopped, start it again; this page reconnects by itself.'],
  stalled: [
    'The capture service stands still.',
    'Look at its terminal: it may be stopped in a debugger, or busy. What you asked for is done when it goes on.',
  ],
};

export class StatusBar {
  #store;
  #dot = el('span', { class: 'dot', 'aria-hidden': true });
  #words = el('span');
  #what = el('strong');
  #advice = el('span');
  #command = el('code');
  #restart = el('span', { class: 'line' }, this.#command, copyButton('Copy command', () => this.#command.textContent));

  constructor(store) {
    this.#store = store;
    find('connection').append(this.#dot, this.#words);
    find('outage').append(this.#what, this.#advice, this.#restart);
    store.subscribe((change) => (change.connection || change.devices || change.reset) && this.#render());
    this.#render();
  }

  #render() {
    const { connection, envId } = this.#store;
    const [words, state] = this.#status();
    find('connection').dataset.state = state;
    document.body.dataset.connection = connection;
    setText(this.#words, words);
    setText(find('environment'), envId === null ? '' : `Environment ${envId}`);
    find('environment').title = find('environment').textContent;
    const outage = OUTAGES[connection];
    find('outage').hidden = !outage;
    setText(this.#what, outage?.[0] ?? '');
    setText(this.#advice, outage?.[1] ?? '');
    this.#command.replaceChildren(...startCommand(envId).flatMap((text) => [' ', el('span', { class: 'word', text })]).slice(1));
    this.#restart.hidden = connection !== 'lost';
  }

  /** What is said, and how good it is: 'good' only when somebody is there. */
  #status() {
    const { connection, devices } = this.#store;
    if (connection === 'connecting') return ['Connecting…', 'idle'];
    if (connection === 'lost') return ['Service not connected', 'bad'];
    if (connection === 'stalled') return ['Service stands still', 'bad'];
    const count = (...states) => [...devices.values()].filter(({ state }) => states.includes(state)).length;
    const [live, waiting] = [count('paired'), count('available', 'asked')];
    if (live > 0) return [`Service connected · ${plural(live, 'device')} live`, 'good'];
    return [`Service connected · ${waiting > 0 ? `${plural(waiting, 'device')} to pair` : 'no device'}`, 'idle'];
  }
}

/** What starts a service in the place of this one, in parts that stay whole where the line breaks. */
function startCommand(envId) {
  const port = location.port && `--port ${location.port}`;
  const environment = envId !== null && `--env-id ${envId}`;
  return ['node', 'tools/capture-service/capture-service.mjs', '--visualizer', port, environment].filter(Boolean);
}
