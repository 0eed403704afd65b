// Turns stored records into the rows of the table. Records of refused items may hold anything, so nothing is assumed.

import { isObject } from './checks.mjs';

export const columns = [
  { title: '#', rigid: true },
  { title: 'time', rigid: true },
  { title: 'endpoint', rigid: true },
  { title: 'what' },
  { title: 'user' },
  { title: 'session' },
  { title: 'details' },
  { title: 'result' },
];

const text = (value) =>
  value === undefined || value === null ? '' : typeof value === 'string' ? value : JSON.stringify(value);
const phrase = (...parts) => parts.filter((part) => part !== '').join(' ');
const quoted = (value) => (text(value) === '' ? '' : `“${text(value)}”`);
const labelled = (label, value) => (text(value) === '' ? '' : `${label}=${text(value)}`);
const member = (value, key) => (isObject(value) ? value[key] : undefined);

function typedList(label, properties) {
  if (!isObject(properties) || Object.keys(properties).length === 0) return '';
  const shown = Object.entries(properties).map(
    ([name, typed]) => `${name}=${text(isObject(typed) ? Object.values(typed)[0] : typed)}`,
  );
  return `${label}{${shown.join(', ')}}`;
}

const pairList = (label, pairs) =>
  Array.isArray(pairs) && pairs.length > 0
    ? `${label}{${pairs.map(([key, value]) => `${key}=${value}`).join(', ')}}`
    : '';

const kinds = {
  touchEvent: (event) => [
    phrase(text(event.type), text(event.targetView), quoted(event.targetText)),
    phrase(
      labelled('id', event.targetA11yId),
      labelled('label', event.targetA11yLabel),
      labelled('ivar', event.targetIvar),
      labelled('action', event.targetSelector),
    ),
  ],
  lifecycleEvent: (event) => [
    event.isUpgrade ? 'upgrade' : 'install',
    `${text(event.previousVersionCode)} (${text(event.previousBuildType)}) → ${text(event.currentVersionCode)} (${text(event.currentBuildType)})`,
  ],
  customEvent: (event) => [quoted(event.type), typedList('', event.customProperties)],
  sourceEvent: (event) => [
    quoted(event.type),
    phrase(labelled('source', event.source), typedList('source', event.sourceProperties)),
  ],
  sourceCustomEvent: (event) => [
    quoted(event.type),
    phrase(
      labelled('source', event.source),
      typedList('', event.customProperties),
      typedList('source', event.sourceProperties),
    ),
  ],
};

function messageCells({ message, batch, index }) {
  const event = member(message, 'event');
  const kind = Object.keys(isObject(event) ? event : {}).find((key) => key !== 'appVisibilityState') ?? 'no event';
  const own = member(event, kind);
  const [what, details] = Object.hasOwn(kinds, kind) && isObject(own) ? kinds[kind](own) : ['', ''];
  return {
    what: phrase(kind, what),
    user: text(member(member(message, 'user'), 'id')),
    session: text(member(member(message, 'sessionInfo'), 'id')),
    details: phrase(
      `batch ${text(batch)}[${text(index)}]`,
      labelled('on', member(member(message, 'pageviewInfo'), 'viewController')),
      details,
      typedList('all', member(message, 'properties')),
      labelled('as', member(member(message, 'user'), 'identity')),
    ),
  };
}

function pixelCells({ endpoint, named, k }) {
  const param = (name) => text(member(named, name));
  const user = param('u');
  const session = param('s');
  if (endpoint === 'h') {
    const what = phrase('pageview', param('h') === '' ? '(no screen)' : param('h'));
    const details = phrase(
      quoted(param('t')),
      labelled('id', param('d')),
      labelled('label', param('y')),
      `z=${param('z')}`,
      pairList('all', k),
      labelled('as', param('i')),
    );
    return { what, user, session, details };
  }
  if (endpoint === 'identify')
    return { what: phrase('identify', quoted(param('i'))), user, session, details: labelled('pageview', param('v')) };
  const properties = Object.entries(isObject(named) ? named : {}).filter(([name]) => name.startsWith('_'));
  return {
    what: `user properties ${properties.map(([name]) => name.slice(1)).join(', ')}`,
    user,
    session,
    details: properties.map(([name, value]) => `${name.slice(1)}=${text(value)}`).join(', '),
  };
}

function cellsOf(record) {
  if (record.message !== undefined) return messageCells(record);
  if (record.params !== undefined) return pixelCells(record);
  const { log } = record;
  if (log !== undefined)
    return {
      what: text(member(log, 'event_type')),
      details: phrase(text(member(log, 'custom_message')), labelled('source', member(log, 'source'))),
    };
  return { what: phrase(text(record.method), text(record.path)), details: text(record.body) };
}

const timeOf = (milliseconds) => {
  const date = new Date(milliseconds);
  return Number.isNaN(date.getTime())
    ? '?'
    : `${date.toTimeString().slice(0, 8)}.${String(date.getMilliseconds()).padStart(3, '0')}`;
};

const problemsOf = (record) => (Array.isArray(record.problems) ? record.problems.join('; ') : '');

export function rowOf(record) {
  const { what = '', user = '', session = '', details = '' } = cellsOf(record);
  const answered = ['200', '400'].includes(record.answered) ? '' : `answered ${text(record.answered)}`;
  const result = phrase(record.valid ? 'ok' : `INVALID ${problemsOf(record)}`, answered && `(${answered})`);
  return [text(record.seq), timeOf(record.receivedAt), text(record.endpoint), what, user, session, details, result];
}

/** The lines under the table: how much came in, and which items were refused and why. */
export function closingLines(records) {
  const invalid = records.filter(({ valid }) => !valid);
  const counts = new Map();
  for (const { endpoint } of records) counts.set(text(endpoint), (counts.get(text(endpoint)) ?? 0) + 1);
  const byEndpoint = [...counts].map(([name, count]) => `${count} ${name}`).join(', ');
  const named = invalid.map(({ seq, endpoint }) => `#${text(seq)} ${text(endpoint)}`).join(', ');
  const total = `${records.length} received${records.length > 0 ? ` (${byEndpoint})` : ''}: ${records.length - invalid.length} valid, ${invalid.length} invalid`;
  return [
    ...invalid.map((record) => `invalid #${text(record.seq)} ${text(record.endpoint)}: ${problemsOf(record)}`),
    named === '' ? total : `${total}: ${named}`,
  ];
}
