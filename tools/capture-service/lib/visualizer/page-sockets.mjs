// The pages' side: namespace "/web". A page is told everything when it connects and every change from then on, so that
// a reload loses nothing. Each of its requests is acknowledged.

import { isObject } from '../checks.mjs';

export class PageSockets {
  /**
   * `state()` is what a new page is told. `requests` maps a request's name to a function of its argument that returns
   * what the acknowledgement holds besides `ok`, or { error } with a sentence for people.
   */
  constructor({ namespace, state, requests }) {
    namespace.on('connection', (socket) => {
      socket.emit('state', state());
      for (const [name, act] of Object.entries(requests)) {
        socket.on(name, (argument, acknowledge) => {
          const answer = isObject(argument) ? act(argument) : { error: 'The request is not an object.' };
          if (typeof acknowledge === 'function') acknowledge({ ok: answer.error === undefined, ...answer });
        });
      }
    });
  }
}
