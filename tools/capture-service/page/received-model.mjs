// What the records say: kinds, sums, sessions and screens, and what does not fit the plan. Knows nothing of the page. A record
// that was refused may hold anything, so nothing is assumed of it.

export const RECORD_KINDS = {
  h: 'Screens',
  touch: 'Touches',
  custom: 'Custom',
  identify: 'Identities',
  'user-properties': 'User properties',
  telemetry: 'Telemetry',
  other: 'Other',
};

/** The kinds of the live page whose colours they have. */
export const colourOf = (kind) => ({ h: 'pageview', touch: 'touch', custom: 'custom' })[kind] ?? 'other';

export function kindOfRecord({ endpoint, message }) {
  const event = message?.event ?? {};
  if (event.touchEvent) return 'touch';
  if (event.customEvent ?? event.sourceCustomEvent ?? event.sourceEvent) return 'custom';
  return Object.hasOwn(RECORD_KINDS, endpoint) ? endpoint : 'other';
}

/** Who, in which session, on which pageview; undefined where the record does not say. */
function placeOf({ message, named }) {
  if (message) return { user: message.user?.id, session: message.sessionInfo?.id, pageview: message.pageviewInfo?.id };
  return { user: named?.u, session: named?.s, pageview: named?.v };
}

/**
 * Accepted entries as sessions {key, user, session, count, screens: [{pageview, title, entries}]}, in the order in which they
 * began; of those with entries that are shown, with these alone. A screen is known by its pageview, shown or not.
 */
export function sessionsOf(entries, isShown) {
  const sessions = new Map();
  for (const entry of entries.filter(({ record }) => record.valid)) {
    const { user, session, pageview } = placeOf(entry.record);
    const key = session === undefined ? 'none' : `${user} ${session}`;
    if (!sessions.has(key)) sessions.set(key, { key, user, session, screens: new Map(), count: 0 });
    const told = sessions.get(key);
    const screen = told.screens.get(pageview) ?? { pageview, title: null, entries: [] };
    told.screens.set(pageview, screen);
    const isPageview = entry.record.endpoint === 'h';
    if (isPageview) screen.title = entry.record.named?.t || entry.record.named?.h || 'No screen';
    if (!isShown(entry)) continue;
    told.count += 1;
    screen.entries[isPageview ? 'unshift' : 'push'](entry);
  }
  const withEntries = ({ entries: on }) => on.length > 0;
  const told = [...sessions.values()].filter(({ count }) => count > 0);
  return told.map((session) => ({ ...session, screens: [...session.screens.values()].filter(withEntries) }));
}

/** Whether the sender was told that the record is accepted. Older lines of a file do not say how it was answered. */
export const isAccepted = ({ valid, answered }) => valid && (answered ?? '200') === '200';

/** Numbers of the entries whose message, by its id, or pixel, by its query, was accepted before: sent again when an answer was lost. */
export function duplicatesOf(entries) {
  const accepted = new Set();
  const duplicates = new Set();
  for (const { number, record } of entries) {
    const key = record.message?.id ?? record.query;
    if (key === undefined || !record.valid) continue;
    if (accepted.has(key)) duplicates.add(number);
    if (isAccepted(record)) accepted.add(key);
  }
  return duplicates;
}

/** What stands beside a record, in words. */
export function marksOf({ number, record }, duplicates, plan) {
  const { valid, answered } = record;
  const wasTold = /^\d/.test(answered) ? `answered ${answered}` : `no answer: ${answered}`;
  return [
    ...(valid && !isAccepted(record) ? [wasTold] : []),
    ...(duplicates.has(number) ? ['sent again'] : []),
    ...planFaults(record, plan).map((fault) => `Plan: ${fault}`),
  ];
}

/** What of a record is not as the plan says, in sentences; the plan maps names of events to names of properties to types. */
export function planFaults({ message, valid }, plan) {
  const event = message?.event?.customEvent ?? message?.event?.sourceCustomEvent;
  if (!plan || !valid || !event) return [];
  if (!Object.hasOwn(plan, event.type)) return [`“${event.type}” is not in the plan.`];
  const planned = plan[event.type];
  const sent = event.customProperties ?? {};
  const faults = [];
  for (const [name, type] of Object.entries(planned)) {
    const wanted = type.replace('?', '');
    if (Object.hasOwn(sent, name) && !Object.hasOwn(sent[name] ?? {}, wanted))
      faults.push(`“${name}” is a ${Object.keys(sent[name] ?? {})[0]}, and a ${wanted} in the plan.`);
    if (!Object.hasOwn(sent, name) && !type.endsWith('?')) faults.push(`“${name}” is missing.`);
  }
  for (const name of Object.keys(sent)) if (!Object.hasOwn(planned, name)) faults.push(`“${name}” is not in the plan.`);
  return faults;
}

const bytes = (text) => new TextEncoder().encode(text).length;

/** What was sent, as text: a pixel's query, a message or log as compact JSON, or the body. */
export function rawOf({ query, message, log, body, method, path }) {
  if (query !== undefined) return query;
  if (message !== undefined || log !== undefined) return JSON.stringify(message === undefined ? log : message);
  return body ?? [method, path].filter(Boolean).join(' ');
}

// A problem begins with the path of a value, and may be about a key of it.
const PLACE = /^(?:message|log)((?:\.[A-Za-z_]\w*|\["(?:[^"\\]|\\.)*"\]|\[\d+\])*)(?: has the unknown key ("(?:[^"\\]|\\.)*"))?/;

/**
 * The byte of the raw form that a problem is about, from 0; null when it is about no place of it, or names the byte itself, as
 * that of a body does.
 */
export function byteOf(record, problem) {
  if (record.query !== undefined) return byteOfParameter(record.query, /parameter "((?:[^"\\]|\\.)*)"/.exec(problem)?.[1]);
  const place = PLACE.exec(problem);
  return place && byteOfPath(record.message ?? record.log, place[1] + (place[2] ? `[${place[2]}]` : ''));
}

function byteOfParameter(query, name) {
  let start = 0;
  for (const part of query.split('&')) {
    if (name !== undefined && part.split('=')[0] === encodeURIComponent(name)) return bytes(query.slice(0, start));
    start += part.length + 1;
  }
  return null;
}

/** The key between brackets; null when it was cut within an escape. */
function keyIn(bracket) {
  try {
    return String(JSON.parse(bracket));
  } catch {
    return null;
  }
}

/** Where the value at the path begins in the compact JSON of the whole, as far down as the path leads. */
function byteOfPath(whole, path) {
  const steps = [...path.matchAll(/\.([A-Za-z_]\w*)|\[("(?:[^"\\]|\\.)*"|\d+)\]/g)];
  let offset = 0;
  let value = whole;
  for (const [, name, bracket] of steps) {
    const key = name ?? keyIn(bracket);
    if (key === null || typeof value !== 'object' || value === null || !Object.hasOwn(value, key)) return offset;
    const keys = Object.keys(value);
    const before = Object.fromEntries(keys.slice(0, keys.indexOf(key)).map((other) => [other, value[other]]));
    const isFirst = keys[0] === key;
    if (Array.isArray(value)) offset += bytes(JSON.stringify(value.slice(0, Number(key)))) - (isFirst ? 1 : 0);
    else offset += bytes(JSON.stringify(before)) - (isFirst ? 1 : 0) + bytes(JSON.stringify(key)) + 1;
    value = value[key];
  }
  return offset;
}
