// The bytes and headers of request bodies, before anything is known about their content.

import zlib from 'node:zlib';
import { show } from './checks.mjs';
import { faultIndex } from './json-fault.mjs';

const MAX_NESTING = 200;
const MAX_KEPT = 2000;
const MAX_UNPACKED = 32 * 1024 * 1024;
const utf8 = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true });

/** Problems of the headers that go with a JSON body. The length itself was checked by the HTTP parser. */
export function jsonHeaderProblems(headers) {
  const problems = [];
  const type = headers['content-type'];
  if (type !== 'application/json') problems.push(`Content-Type is ${show(type ?? null)}, not "application/json"`);
  if (headers['content-length'] === undefined) problems.push('Content-Length is missing');
  return problems;
}

export function unexpectedBody(headers, body) {
  const problems = [];
  if (body.length > 0) problems.push(`a GET with a body of ${body.length} bytes`);
  if (headers['content-type'] !== undefined) problems.push('a GET with a Content-Type');
  return problems;
}

/** The body as { bytes } before it was compressed to be sent, or { problem }. */
export function unpacked(headers, body) {
  const encoding = headers['content-encoding'];
  if (encoding === undefined) return { bytes: body };
  if (encoding !== 'gzip') return { problem: `Content-Encoding is ${show(encoding)}, not "gzip"` };
  try {
    return { bytes: zlib.gunzipSync(body, { maxOutputLength: MAX_UNPACKED }) };
  } catch (error) {
    return { problem: `the body cannot be unpacked: ${error.message}` };
  }
}

/** The body as { text }, or { problem } when it is not UTF-8. */
export function readText(body) {
  try {
    return { text: utf8.decode(body) };
  } catch {
    const valid = Buffer.from(body.toString('utf8')); // but for the character that stands for what is not
    return { problem: `the body is not UTF-8 at byte ${body.findIndex((byte, index) => byte !== valid[index])}` };
  }
}

/** What a record keeps of a body that could not be taken apart. */
export function rawContent(body) {
  return { body: body.subarray(0, MAX_KEPT).toString('utf8'), bodyBytes: body.length };
}

/**
 * Parses the compact JSON of a body, of which `before` is what precedes it. Returns { value } or { problem }, with the byte of
 * the body, from 0: blanks between tokens, and nesting so deep that later steps could not walk it, are refused too.
 */
export function parseCompactJson(json, before = '') {
  const byteAt = (index) => Buffer.byteLength(before + json.slice(0, index));
  const fault = layoutFault(json);
  if (fault !== null) return { problem: `${fault.problem} at byte ${byteAt(fault.index)}` };
  try {
    return { value: JSON.parse(json) };
  } catch {
    const index = faultIndex(json);
    const what = index < json.length ? show(json.slice(index)) : 'it ends too early';
    return { problem: `the body is not JSON: ${what} at byte ${byteAt(index)}` };
  }
}

/**
 * Why a text is not the compact JSON of a value that later steps can walk, as { problem, index }, or null. Looks at the
 * characters, not the grammar: the parser has the last word on that.
 */
export function layoutFault(json) {
  let depth = 0;
  let inString = false;
  for (let i = 0; i < json.length; i++) {
    const c = json.charCodeAt(i);
    if (inString) {
      if (c === 0x5c)
        i++; // a backslash takes the next character with it
      else if (c === 0x22) inString = false;
    } else if (c === 0x22) {
      inString = true;
    } else if (c === 0x7b || c === 0x5b) {
      if (++depth > MAX_NESTING) return { problem: `the JSON is nested deeper than ${MAX_NESTING} levels`, index: i };
    } else if (c === 0x7d || c === 0x5d) {
      depth--;
    } else if (c <= 0x20) {
      return { problem: 'the JSON is not compact: a blank', index: i };
    }
  }
  return null;
}
