// What browsers load, below "/visualizer/", to which the root leads: the page's files, the QR code, and the events with their
// pictures.

import fs from 'node:fs/promises';
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import QRCode from 'qrcode';
import { sendJson } from '../http-io.mjs';

const PAGE_FOLDER = fileURLToPath(new URL('../../page/', import.meta.url));
const SOCKET_CLIENT = path.join(
  path.dirname(createRequire(import.meta.url).resolve('socket.io/package.json')),
  'client-dist/socket.io.min.js',
);
const TYPES = {
  '.css': 'text/css; charset=utf-8',
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.mjs': 'text/javascript; charset=utf-8',
  '.png': 'image/png',
  '.svg': 'image/svg+xml; charset=utf-8',
};
const HEADERS = {
  'Content-Security-Policy':
    "default-src 'self'; object-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
  'Cross-Origin-Resource-Policy': 'same-origin',
  'Referrer-Policy': 'no-referrer',
  'X-Content-Type-Options': 'nosniff',
  'Cache-Control': 'no-store',
};

export class PageRoutes {
  #events;

  constructor({ events }) {
    this.#events = events;
  }

  async handle(request, response, route, query) {
    for (const [name, value] of Object.entries(HEADERS)) response.setHeader(name, value);
    request.resume();
    if (request.method !== 'GET' && request.method !== 'HEAD') {
      return sendJson(response, 405, { problems: [`method ${request.method}, not GET`] }, { Allow: 'GET, HEAD' });
    }
    if (route === '/') return response.writeHead(302, { Location: '/visualizer/' }).end();
    if (route === '/visualizer') return response.writeHead(308, { Location: '/visualizer/' }).end();
    const name = route.slice('/visualizer/'.length);
    const event = /^events\/([1-9]\d{0,14})(\.json|\/screen\.png|\/crop\.png)$/.exec(name);
    if (event) return this.#sendEvent(response, Number(event[1]), event[2]);
    if (name === 'qr.svg') return sendQr(response, new URLSearchParams(query).get('appId'));
    if (name === 'socket.io.js') return sendFile(response, SOCKET_CLIENT);
    return sendPageFile(response, name === '' ? 'index.html' : name);
  }

  #sendEvent(response, id, part) {
    const event = this.#events.find(id);
    if (event === undefined) return sendNotFound(response, `no event ${id}`);
    if (part === '.json') return sendJson(response, 200, eventJson(event));
    const png = part === '/crop.png' ? event.crop : event.screen;
    return png === null ? sendNotFound(response, `no such picture of event ${id}`) : send(response, '.png', png);
  }
}

function eventJson({ summary, message, viewAncestry, boundingBox }) {
  const box = boundingBox === null ? '' : `,"boundingBox":${JSON.stringify(boundingBox)}`;
  return `{"summary":${JSON.stringify(summary)},"message":${message},"viewAncestry":${viewAncestry}${box}}`;
}

async function sendQr(response, appId) {
  if (!/^\d{1,20}$/.test(appId ?? '')) return sendJson(response, 400, { problems: ['appId is not an environment id (digits)'] });
  return send(response, '.svg', await QRCode.toString(`kova-${appId}://1/launch-ev`, { type: 'svg', margin: 2 }));
}

/** Names of files in the page's folder and below it; no segment begins with a dot. */
function sendPageFile(response, name) {
  const isName = name.split('/').every((segment) => /^\w[\w.-]*$/.test(segment));
  return isName ? sendFile(response, path.join(PAGE_FOLDER, name)) : sendNotFound(response, 'no such file');
}

async function sendFile(response, file) {
  const extension = path.extname(file);
  const content = Object.hasOwn(TYPES, extension) ? await fs.readFile(file).catch(() => null) : null;
  return content === null ? sendNotFound(response, 'no such file') : send(response, extension, content);
}

function send(response, extension, content) {
  response.writeHead(200, { 'Content-Type': TYPES[extension], 'Content-Length': Buffer.byteLength(content) }).end(content);
}

function sendNotFound(response, problem) {
  sendJson(response, 404, { problems: [problem] });
}
