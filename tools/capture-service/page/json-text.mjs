// A JSON value as text for people: indented, its keys, texts and numbers told apart.

import { el } from './dom.mjs';

const MAX_SHOWN = 200_000; // characters; more makes the page slow, and nobody reads it
// The closing quote may be missing where the text was cut; were it required, a long cut text would be tried anew at each of
// its quotes.
const TOKEN = /("(?:[^"\\]|\\.)*"?)(\s*:)?|-?\d[\d.eE+-]*|\btrue\b|\bfalse\b|\bnull\b/g;

/** The whole text; null when the value is nested too deeply to be written. */
export function jsonText(value, indent = 2) {
  try {
    return JSON.stringify(value, null, indent) ?? 'null';
  } catch {
    return null;
  }
}

/** A value in a line of its own; cut, and empty when there is nothing to say. */
export function shortText(value, limit) {
  if (value === undefined || value === null) return '';
  const text = typeof value === 'object' ? (jsonText(value, 0) ?? '…') : String(value);
  return text.length > limit ? `${text.slice(0, limit)}…` : text;
}

/** Children that show the text: plain strings and coloured spans. */
export function colouredJson(text) {
  const shown = text.slice(0, MAX_SHOWN);
  const parts = [];
  let end = 0;
  for (const match of shown.matchAll(TOKEN)) {
    const [token, quoted, colon] = match;
    parts.push(shown.slice(end, match.index));
    if (!quoted) parts.push(el('span', { class: 'json-literal', text: token }));
    else parts.push(el('span', { class: colon ? 'json-key' : 'json-text', text: quoted }), colon ?? '');
    end = match.index + token.length;
  }
  parts.push(shown.slice(end));
  if (text.length > shown.length)
    parts.push(`\n… ${(text.length - shown.length).toLocaleString()} more characters: copy the message to read them`);
  return parts;
}
