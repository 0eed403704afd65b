// The page's socket to the service: feeds the store, and carries what the page asks for. It reconnects by itself, without end.

const RETRY_MS = 500;
const MAX_RETRY_MS = 2000;
const ALIVE_MS = 4000; // between two questions whether the service still answers
const STALLED_MS = 3000; // without an answer

export class Connection {
  #socket;
  #store;
  #waiting = new Set(); // what ends each request that is not answered yet

  constructor(store) {
    this.#store = store;
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
      for (const giveUp of this.#waiting) giveUp();
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
    setInterval(() => this.#socket.connected && this.#waiting.size === 0 && this.#ask('alive', {}), ALIVE_MS);
  }

  pair = (device) => this.#ask('pair', { device });
  cancel = (device) => this.#ask('cancel', { device });
  unpair = (device) => this.#ask('unpair', { device });

  /**
   * Resolves to the answer, whenever it comes: a service that stands still carries out what it was asked when it goes on, so
   * that giving up would be wrong. Without a connection: {ok: false, error}.
   */
  #ask(name, question) {
    const lost = { ok: false, error: 'The service is not connected. Start it again, then repeat this.' };
    if (!this.#socket.connected) return Promise.resolve(lost);
    return new Promise((resolve) => {
      const end = (answer) => {
        clearTimeout(timer);
        this.#waiting.delete(giveUp);
        resolve(answer);
      };
      const giveUp = () => end(lost);
      const timer = setTimeout(() => this.#store.setConnection('stalled'), STALLED_MS);
      this.#waiting.add(giveUp);
      this.#socket.emit(name, question, (answer) => {
        if (this.#store.connection === 'stalled') this.#store.setConnection('live');
        end(answer);
      });
    });
  }
}
