// The files of the pages, and the headers that keep a page to itself.

import fs from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { sendJson } from './http-io.mjs';

const PAGE_FOLDER = fileURLToPath(new URL('../page/', import.meta.url));
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

/** Sets the headers. Returns whether the method is one that pages use; if not, the request is answered. */
export function beginPage(request, response) {
  for (const [name, value] of Object.entries(HEADERS)) response.setHeader(name, value);
  request.resume();
  if (request.method === 'GET' || request.method === 'HEAD') return true;
  sendJson(response, 405, { problems: [`method ${request.method}, not GET`] }, { Allow: 'GET, HEAD' });
  return false;
}

/** Names of files in the page's folder and below it; no segment begins with a dot. */
export function sendPageFile(response, name) {
  const isName = name.split('/').every((segment) => /^\w[\w.-]*$/.test(segment));
  return isName ? sendFile(response, path.join(PAGE_FOLDER, name)) : sendNotFound(response, 'no such file');
}

export async function sendFile(response, file) {
  const extension = path.extname(file);
  const content = Object.hasOwn(TYPES, extension) ? await fs.readFile(file).catch(() => null) : null;
  return content === null ? sendNotFound(response, 'no such file') : send(response, extension, content);
}

export function send(response, extension, content) {
  response.writeHead(200, { 'Content-Type': TYPES[extension], 'Content-Length': Buffer.byteLength(content) }).end(content);
}

export function sendNotFound(response, problem) {
  sendJson(response, 404, { problems: [problem] });
}
