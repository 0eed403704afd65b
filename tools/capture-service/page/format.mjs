// Words and times for people. Times are the browser's local ones.

export const KINDS = {
  touch: 'Touch',
  gesture: 'Gesture',
  change: 'Edit',
  pageview: 'Screen',
  custom: 'Custom',
  other: 'Other',
};

const REDACTED = '****'; // what the library writes in the place of a text that must not leave the app

export const kindOf = (summary) => (Object.hasOwn(KINDS, summary.kind) ? summary.kind : 'other');

const clock = new Intl.DateTimeFormat(undefined, {
  hour: '2-digit',
  minute: '2-digit',
  second: '2-digit',
  hourCycle: 'h23',
});
const exact = new Intl.DateTimeFormat(undefined, {
  day: 'numeric',
  month: 'short',
  hour: '2-digit',
  minute: '2-digit',
  second: '2-digit',
  fractionalSecondDigits: 3,
  hourCycle: 'h23',
});
const hourAndMinute = new Intl.DateTimeFormat(undefined, { hour: '2-digit', minute: '2-digit', hourCycle: 'h23' });

const FURTHEST_DATE = 8.64e15; // of a Date, in milliseconds
const written = (format, time) => (Number.isFinite(time) && Math.abs(time) <= FURTHEST_DATE ? format.format(time) : '');

export const happenedAt = (summary) => summary.time ?? summary.receivedAt;
export const clockTime = (time) => written(clock, time);
export const exactTime = (time) => written(exact, time);
export const minuteTime = (time) => written(hourAndMinute, time);

/** What a person would call the event. A touch on something without text is called by what it caused. */
export function titleOf(summary) {
  if (summary.kind === 'pageview') return summary.screen || summary.text || 'Untitled screen';
  if (summary.kind === 'custom') return summary.name || summary.text || 'Unnamed event';
  if (summary.kind === 'other') return [summary.name, summary.text].filter(Boolean).join(' ');
  if (summary.text === REDACTED) return 'Redacted text';
  return summary.text || summary.selector || summary.name || 'Untitled';
}

export const plural = (count, word) => `${count.toLocaleString()} ${word}${count === 1 ? '' : 's'}`;

/** A measure in points: no more than one decimal. */
export const points = (value) => String(Math.round(value * 10) / 10);
