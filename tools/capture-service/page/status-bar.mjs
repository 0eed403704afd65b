// The state of the connection, always in sight, and what to do when it is lost.

import { copyButton } from './copy.mjs';
import { el, find, setText } from './dom.mjs';

const WORDS = { connecting: 'Connecting…', live: 'Live', lost: 'Not connected' };

export class StatusBar {
  #store;
  #dot = el('span', { class: 'dot', 'aria-hidden': true });
  #words = el('span');
  #command = el('code');

  constructor(store) {
    this.#store = store;
    find('connection').append(this.#dot, this.#words);
    find('outage').append(
      el('strong', { text: 'The capture service does not answer.' }),
      el('span', { text: 'If it was stopped, start it again; this page reconnects by itself.' }),
      this.#command,
      copyButton('Copy command', () => this.#command.textContent),
    );
    store.subscribe(() => this.#render());
    this.#render();
  }

  #render() {
    const { connection, envId } = this.#store;
    document.body.dataset.connection = connection;
    setText(this.#words, WORDS[connection]);
    setText(find('environment'), envId === null ? '' : `Environment ${envId}`);
    setText(this.#command, startCommand(envId));
    find('outage').hidden = connection !== 'lost';
  }
}

/** What starts a service in the place of this one. */
function startCommand(envId) {
  const port = location.port ? ` --port ${location.port}` : '';
  const environment = envId === null ? '' : ` --env-id ${envId}`;
  return `node tools/capture-service/capture-service.mjs --visualizer${port}${environment}`;
}
