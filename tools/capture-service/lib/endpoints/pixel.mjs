// What the three pixel endpoints share: a GET whose query string carries everything, in an order that is laid down.
// An endpoint is its layout: a list of slots made by required, optional, pairs and properties.

import {
  environmentId,
  matching,
  oneOf,
  randomId,
  show,
  userId,
  version,
  epochMilliseconds,
  nonEmptyText,
} from '../checks.mjs';
import { unexpectedBody } from '../json-body.mjs';

export const required = (name, check) => ({ name, check, matches: (other) => other === name });
export const optional = (name, check) => ({ ...required(name, check), optional: true });
/** Keys and values in turn, all under one name, each encoded twice. */
export const pairs = (name) => ({ ...required(name, () => {}), optional: true, repeats: true });
/** One or more parameters named by a prefix and the property's own name. */
export const properties = (prefix, check) => ({
  name: `${prefix}…`,
  check,
  matches: (other) => other.startsWith(prefix),
});

/** The slots that open every pixel's query. */
export const baseSlots = [
  required('a', environmentId),
  required('s', randomId),
  required('b', oneOf('ios')),
  required('tv', matching(/^\d+\.\d+$/, 'a version of two numbers')),
  required('lv', version),
];
export const userSlots = [required('u', userId), optional('i', nonEmptyText)];
export const sendTimeSlot = required('st', epochMilliseconds);

// What the library always escapes, with upper-case digits. Bytes above ASCII it leaves alone, but HTTP does not carry
// them: the layer below must have escaped them, in digits of either case.
const WELL_ENCODED = /^(?:%[0-7][\dA-F]|%[89A-Fa-f][\dA-Fa-f]|[^!*'();:@&=+$,/?%|#[\]"\s<>\\^`{}\b\u0080-\uffff])*$/;

/** Undoes one level of percent-encoding of UTF-8 text; null when the text is no such thing. */
function decode(encoded) {
  try {
    return decodeURIComponent(encoded);
  } catch {
    return null;
  }
}

function decodePart(raw, path, problems) {
  const decoded = decode(raw);
  if (decoded === null || !WELL_ENCODED.test(raw))
    problems.push(`${path} is not percent-encoded as laid down: ${show(raw)}`);
  return decoded ?? raw;
}

function parseParameters(query, problems) {
  if (query === '') return [];
  return query.split('&').map((part) => {
    const equals = part.indexOf('=');
    if (equals < 0) problems.push(`${show(part)} is not of the form name=value`);
    const rawName = equals < 0 ? part : part.slice(0, equals);
    const name = decodePart(rawName, 'a parameter name', problems);
    const value = equals < 0 ? '' : decodePart(part.slice(equals + 1), `parameter ${show(name)}`, problems);
    return [name, value];
  });
}

function checkLayout(layout, params, problems) {
  const seen = new Set();
  const slotsSeen = new Set();
  let last = { position: -1, name: '' };
  for (const [name, value] of params) {
    const position = layout.findIndex((slot) => slot.matches(name));
    if (position < 0) {
      problems.push(`unknown parameter ${show(name)}`);
      continue;
    }
    const slot = layout[position];
    if (seen.has(name) && !slot.repeats) problems.push(`parameter ${show(name)} is given twice`);
    if (position < last.position) problems.push(`parameter ${show(name)} comes after ${show(last.name)}`);
    else last = { position, name };
    seen.add(name);
    slotsSeen.add(slot);
    slot.check(value, `parameter ${show(name)}`, problems);
  }
  for (const slot of layout) {
    if (!slot.optional && !slotsSeen.has(slot)) problems.push(`parameter "${slot.name}" is missing`);
  }
}

/** The values under `name`, two by two, with their second level of encoding undone. */
function pairsNamed(name, params, problems) {
  const values = params
    .filter(([other]) => other === name)
    .map(([, value]) => decodePart(value, `parameter "${name}", second decoding,`, problems));
  if (values.length % 2 === 1) problems.push(`parameter "${name}" is given ${values.length} times, not in pairs`);
  const result = [];
  for (let i = 0; i + 1 < values.length; i += 2) result.push([values[i], values[i + 1]]);
  if (new Set(result.map(([key]) => key)).size < result.length) problems.push(`a key is repeated among "${name}"`);
  return result;
}

/** An endpoint that answers GET and reads one item from the query. */
export function pixelEndpoint(name, path, layout) {
  return {
    name,
    path,
    method: 'GET',
    read({ query, headers, body }) {
      const problems = unexpectedBody(headers, body);
      const params = parseParameters(query, problems);
      checkLayout(layout, params, problems);
      const named = Object.fromEntries(params.filter(([key]) => key !== 'sp' && key !== 'k'));
      const sp = pairsNamed('sp', params, problems);
      const k = pairsNamed('k', params, problems);
      return [{ problems, content: { params, named, sp, k, query } }];
    },
  };
}
