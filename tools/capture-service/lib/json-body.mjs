// The bytes and headers of request bodies, before anything is known about their content.

import { show } from './checks.mjs';

const MAX_NESTING = 200;
const MAX_KEPT = 2000;
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

/** The body as text, or null when it is not UTF-8. */
export function textOfBody(body) {
  try {
    return utf8.decode(body);
  } catch {
    return null;
  }
}

/** What a record keeps of a body that could not be taken apart. */
export function rawContent(body) {
  return { body: body.subarray(0, MAX_KEPT).toString('utf8'), bodyBytes: body.length };
}

/**
 * Parses compact JSON. Returns { value } or { problem }: blanks between tokens, and nesting so deep that later steps
 * could not walk it, are refused too.
 */
export function parseCompactJson(json) {
  const problem = layoutProblem(json);
  if (problem !== null) return { problem };
  try {
    return { value: JSON.parse(json) };
  } catch (error) {
    return { problem: `the body is not JSON: ${error.message}` };
  }
}

/**
 * Why a text is not the compact JSON of a value that later steps can walk, or null. Looks at the characters, not the grammar:
 * the parser has the last word on that.
 */
export function layoutProblem(json) {
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
      if (++depth > MAX_NESTING) return `the JSON is nested deeper than ${MAX_NESTING} levels`;
    } else if (c === 0x7d || c === 0x5d) {
      depth--;
    } else if (c <= 0x20) {
      return `the JSON is not compact: a blank at character ${i}`;
    }
  }
  return null;
}
