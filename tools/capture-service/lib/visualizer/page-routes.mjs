// What browsers load, below "/visualizer/", to which the root leads: the page's files, and the events with their pictures.

import { createRequire } from 'node:module';
import path from 'node:path';
import { sendJson } from '../http-io.mjs';
import { beginPage, send, sendFile, sendNotFound, sendPageFile } from '../page-files.mjs';
import { definitionOf, passesThrough } from './definition.mjs';

const SOCKET_CLIENT = path.join(
  path.dirname(createRequire(import.meta.url).resolve('socket.io/package.json')),
  'client-dist/socket.io.min.js',
);

export class PageRoutes {
  #events;

  constructor({ events }) {
    this.#events = events;
  }

  async handle(request, response, route, query) {
    if (!beginPage(request, response)) return undefined;
    if (route === '/') return response.writeHead(302, { Location: '/visualizer/' }).end();
    if (route === '/visualizer') return response.writeHead(308, { Location: '/visualizer/' }).end();
    const name = route.slice('/visualizer/'.length);
    const event = /^events\/([1-9]\d{0,14})(\.json|\/screen\.png|\/crop\.png|\/matches\.json)$/.exec(name);
    if (event) return this.#sendEvent(response, Number(event[1]), event[2], query);
    if (name === 'socket.io.js') return sendFile(response, SOCKET_CLIENT);
    return sendPageFile(response, name === '' ? 'index.html' : name);
  }

  #sendEvent(response, id, part, query) {
    const event = this.#events.find(id);
    if (event === undefined) return sendNotFound(response, `no event ${id}`);
    if (part === '.json') return sendJson(response, 200, eventJson(event));
    if (part === '/matches.json') return this.#sendMatches(response, event, new URLSearchParams(query).get('node'));
    const png = part === '/crop.png' ? event.crop : event.screen;
    return png === null ? sendNotFound(response, `no such picture of event ${id}`) : send(response, '.png', png);
  }

  /** The definition of a node, and the events that it matches. */
  #sendMatches(response, { viewAncestry }, node) {
    const isIndex = /^\d{1,4}$/.test(node ?? '');
    const definition = isIndex ? definitionOf(JSON.parse(viewAncestry ?? 'null'), Number(node)) : null;
    if (definition === null) return sendNotFound(response, 'no such node');
    const ids = this.#events.idsWhere((ancestry) => passesThrough(ancestry, definition));
    return sendJson(response, 200, { definition, ids, of: this.#events.size });
  }
}

function eventJson({ summary, message, viewAncestry, boundingBox }) {
  const box = boundingBox === null ? '' : `,"boundingBox":${JSON.stringify(boundingBox)}`;
  return `{"summary":${JSON.stringify(summary)},"message":${message},"viewAncestry":${viewAncestry}${box}}`;
}
