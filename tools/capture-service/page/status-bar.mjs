// The state of the connection, always in sight, and what to do when it is lost.

import { copyButton } from './copy.mjs';
import { el, find, setText } from './dom.mjs';

const WORDS = { connecting: 'Connecting…', live: 'Live', lost: 'Not connected' };

export class StatusBar {
  #store;
  #dot = el('span', { class: 'dot', 'aria-hidden': true });
  #words = el('span');

  constructor(store) {
    this.#store = store;
    find('connection').append(this.#dot, this.#words);
    const port = location.port ? ` --port ${location.port}` : '';
    const command = `node tools/capture-service/capture-service.mjs --visualizer${port}`;
    find('outage').append(
      el('strong', { text: 'The capture service does not answer.' }),
      el('span', { text: 'If it was stopped, start it again; this page reconnects by itself.' }),
      el('code', { text: command }),
      copyButton('Copy command', () => command),
    );
    store.subscribe(() => this.#render());
    this.#render();
  }

  #render() {
    const { connection, envId } = this.#store;
    document.body.dataset.connection = connection;
    setText(this.#words, WORDS[connection]);
    setText(find('environment'), envId === null ? '' : `Environment ${envId}`);
    find('outage').hidden = connection !== 'lost';
  }
}
