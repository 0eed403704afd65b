// The page's socket to the service: feeds the store, and carries what the page asks for. It reconnects by itself, without end.

const ANSWER_MS = 5000;
const RETRY_MS = 500;
const MAX_RETRY_MS = 2000;

export class Connection {
  #socket;

  constructor(store) {
    // Made by socket.io.js, which is loaded before the modules.
    const socket = globalThis.io('/web', {
      path: '/socko/',
      reconnectionDelay: RETRY_MS,
      reconnectionDelayMax: MAX_RETRY_MS,
    });
    this.#socket = socket;
    socket.on('connect_error', () => store.setConnection('lost'));
    socket.on('disconnect', (reason) => {
      store.setConnection('lost');
      // Only a disconnection that the service asked for is left to the page to mend.
      if (reason === 'io server disconnect') setTimeout(() => socket.connect(), RETRY_MS);
    });
    socket.on('state', (state) => {
      store.replaceAll(state);
      store.setConnection('live');
    });
    socket.on('device', (device) => store.setDevice(device));
    socket.on('device_gone', ({ id }) => store.removeDevice(id));
    socket.on('event', (summary) => store.addEvent(summary));
    socket.on('cleared', () => store.clearEvents());
  }

  pair = (device) => this.#ask('pair', { device });
  unpair = (device) => this.#ask('unpair', { device });
  clear = () => this.#ask('clear', {});

  /** Resolves to the answer, {ok: false, error} included when there is none. */
  #ask(name, question) {
    const lost = { ok: false, error: 'The service did not answer. Look at the terminal it runs in, then try again.' };
    if (!this.#socket.connected) return Promise.resolve(lost);
    return new Promise((resolve) => {
      this.#socket.timeout(ANSWER_MS).emit(name, question, (error, answer) => resolve(error ? lost : answer));
    });
  }
}
