// One received record: a line that opens to its decoded fields and its raw form.

import { factRows } from './ancestry.mjs';
import { copyButton } from './copy.mjs';
import { el } from './dom.mjs';
import { clockTime } from './format.mjs';
import { colouredJson, shortText } from './json-text.mjs';
import { byteOf, colourOf, kindOfRecord, rawOf } from './received-model.mjs';

const MAX_TEXT = 300;
const MAX_FIELDS = 100;
const MAX_FAULTS = 3; // in the line; the rest is inside
const KEPT_BYTES = 2000; // of a body, by the service

/** `marks` are words that stand beside it: "sent again", and what is not as planned. */
export function recordElement({ number, what, details, record }, marks) {
  const faults = record.valid ? [] : record.problems.map((problem) => faultOf(record, problem));
  const summary = el(
    'summary',
    {},
    el('span', { class: 'soft', text: clockTime(record.receivedAt) }),
    el('span', { class: 'what', text: what || record.endpoint }),
    el('span', { class: 'soft cut', text: details, title: details }),
    ...marks.map((text) => el('span', { class: 'mark-word', text })),
    ...faults.slice(0, MAX_FAULTS).map((text) => el('span', { class: 'fault', text })),
    faults.length > MAX_FAULTS && el('span', { class: 'fault', text: `and ${faults.length - MAX_FAULTS} more` }),
  );
  const element = el('details', { class: 'record', 'data-number': number, 'data-kind': colourOf(kindOfRecord(record)) }, summary);
  element.addEventListener('toggle', () => element.open && element.childElementCount === 1 && element.append(...inside(record, faults.slice(MAX_FAULTS))));
  return element;
}

function faultOf(record, problem) {
  const byte = byteOf(record, problem);
  return byte === null ? problem : `${problem} (byte ${byte})`;
}

function inside(record, faults) {
  const raw = rawOf(record);
  const isJson = record.message !== undefined || record.log !== undefined;
  const title = rawTitleOf(record);
  return [
    ...faults.map((text) => el('p', { class: 'fault', text })),
    el('dl', { class: 'facts' }, ...factRows(withEmptyInOne(fieldsOf(record)))),
    el('p', { class: 'line spread' }, el('strong', { text: title }), copyButton('Copy', () => raw)),
    el('pre', { class: 'message', tabindex: '0', 'aria-label': title }, ...(isJson ? colouredJson(raw) : [raw])),
  ];
}

/** What the raw form is. Messages and logs went through the service's own JSON, and of a long body only the beginning is kept. */
function rawTitleOf({ message, log, bodyBytes }) {
  if (message !== undefined) return 'The message, as JSON';
  if (log !== undefined) return 'The log, as JSON';
  return bodyBytes > KEPT_BYTES ? `As sent, the first ${KEPT_BYTES.toLocaleString()} of ${bodyBytes.toLocaleString()} bytes` : 'As sent';
}

/** Fields with a value a line each; the names of the others in one. */
function withEmptyInOne(fields) {
  const empty = fields.filter(([, value]) => value === '').map(([name]) => name);
  return [...fields.filter(([, value]) => value !== ''), ...(empty.length > 0 ? [['Without a value', empty.join(', ')]] : [])];
}

/** What of a pixel is encoded twice, under its parameter's name. */
const pairsOf = (name, pairs) => (Array.isArray(pairs) ? pairs.map((pair) => [`${name} ${pair?.[0]}`, pair?.[1]]) : []);

/** Names and values, down to what is no object. */
function fieldsOf({ message, log, params, sp, k }) {
  const fields = [];
  const note = (name, value) => fields.push([shortText(name, MAX_TEXT), shortText(value, MAX_TEXT)]);
  const walk = (value, name) => {
    const isList = typeof value === 'object' && value !== null && name !== 'event.touchEvent.viewAncestry';
    if (fields.length >= MAX_FIELDS) return;
    if (isList) for (const [key, inner] of Object.entries(value)) walk(inner, name ? `${name}.${key}` : key);
    else note(name, value);
  };
  if (!Array.isArray(params)) walk(message ?? log ?? {}, '');
  else {
    const once = params.filter((pair) => pair?.[0] !== 'sp' && pair?.[0] !== 'k');
    for (const pair of [...once, ...pairsOf('sp', sp), ...pairsOf('k', k)]) note(pair?.[0], pair?.[1]);
  }
  return fields.slice(0, MAX_FIELDS);
}
