// Words and times for people. Times are the browser's local ones.

export const KINDS = {
  touch: 'Touch',
  gesture: 'Gesture',
  change: 'Edit',
  pageview: 'Screen',
  custom: 'Custom',
  other: 'Other',
};

export const REDACTED = '****'; // what the library writes in the place of a text that must not leave the app
// Of a gesture, by what its recogniser's class is called.
const GESTURES = [
  [/swipe/i, 'Swiped'],
  [/longpress/i, 'Held'],
  [/pinch/i, 'Pinched'],
  [/rotat/i, 'Turned'],
  [/pan|drag/i, 'Dragged'],
  [/tap/i, 'Tapped'],
];

export const kindOf = (summary) => (Object.hasOwn(KINDS, summary.kind) ? summary.kind : 'other');

const FURTHEST_DATE = 8.64e15; // of a Date, in milliseconds
const HOURS = { hour: '2-digit', minute: '2-digit', hourCycle: 'h23' };
const EXACT = { ...HOURS, second: '2-digit', fractionalSecondDigits: 3 };

/** A function that writes a time in milliseconds, or nothing for what is none. */
function writer(options) {
  const format = new Intl.DateTimeFormat(undefined, options);
  return (time) => (Number.isFinite(time) && Math.abs(time) <= FURTHEST_DATE ? format.format(time) : '');
}
export const clockTime = writer(EXACT);
export const exactTime = writer({ day: 'numeric', month: 'short', ...EXACT });
export const minuteTime = writer(HOURS);

/** A time that passed, in milliseconds: "12 s", "3 min", "2 h". */
export function span(milliseconds) {
  const seconds = Math.round(milliseconds / 1000);
  if (seconds < 120) return `${seconds} s`;
  return seconds < 7200 ? `${Math.round(seconds / 60)} min` : `${Math.round(seconds / 3600)} h`;
}

/** What was done, and to what: ["Tapped", "Add to basket"]. The first is empty where a name says it all. */
export function phraseOf(summary) {
  const { kind, name, text, selector, screen, controller } = summary;
  const what = text === REDACTED ? 'a redacted text' : text || selector || 'something without a name';
  if (kind === 'touch') return ['Tapped', what];
  if (kind === 'change') return ['Edited', what];
  if (kind === 'gesture') return [GESTURES.find(([pattern]) => pattern.test(name))?.[1] ?? 'Gesture on', what];
  if (kind === 'pageview') return ['Opened', screen || controller || 'an untitled screen'];
  if (kind === 'custom') return ['', name || text || 'Unnamed event'];
  if (name === 'install' || name === 'upgrade') return [name === 'install' ? 'Installed' : 'Upgraded to', text ?? ''];
  return ['', [name, text].filter(Boolean).join(' ')];
}

export const titleOf = (summary) => phraseOf(summary).filter(Boolean).join(' ');

export const plural = (count, word) => `${count.toLocaleString()} ${word}${count === 1 ? '' : 's'}`;

/** A measure in points: no more than one decimal. */
export const points = (value) => String(Math.round(value * 10) / 10);
