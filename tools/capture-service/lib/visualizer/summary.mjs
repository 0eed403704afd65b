// The few short facts of a message that a list of events shows. The message may hold anything.

import { isObject } from '../checks.mjs';

const MAX_TEXT = 200;
// Embeddings, overrides and isolates of the bidirectional algorithm: unclosed, they turn the words around them.
const DIRECTION_CONTROLS = /[\u202a-\u202e\u2066-\u2069]/g;
const KINDS = new Map([
  ['touch', 'touch'],
  ['fieldedit', 'change'],
]);

/**
 * The text, cut to a length that a list can show and never within a character, with U+FFFD for controls of direction; null
 * for anything else, or no text.
 */
export function shortText(value) {
  if (typeof value !== 'string' || value === '') return null;
  const cut = value.length <= MAX_TEXT ? value : value.slice(0, MAX_TEXT).replace(/[\ud800-\udbff]$/, '');
  return cut.replace(DIRECTION_CONTROLS, '\ufffd');
}

const firstText = (...values) => values.map(shortText).find((text) => text !== null) ?? null;

const readers = {
  touchEvent: ({ type, targetText, targetA11yLabel, targetA11yId, targetIvar, targetView, targetSelector }) => ({
    kind: KINDS.get(type) ?? 'gesture',
    name: type,
    text: firstText(targetText, targetA11yLabel, targetA11yId, targetIvar, targetView),
    selector: targetSelector,
    variable: targetIvar,
  }),
  customEvent: ({ type }) => ({ kind: 'custom', name: type }),
  sourceEvent: ({ type, source }) => ({ kind: 'custom', name: type, text: source }),
  sourceCustomEvent: ({ type, source }) => ({ kind: 'custom', name: type, text: source }),
  lifecycleEvent: ({ isUpgrade, currentVersionCode }) => ({
    kind: 'other',
    name: isUpgrade === true ? 'upgrade' : 'install',
    text: currentVersionCode,
  }),
};

function factsOf({ event, pageview, pageviewInfo }) {
  if (isObject(event)) {
    const kind = Object.keys(readers).find((name) => isObject(event[name]));
    return kind === undefined ? { kind: 'other' } : readers[kind](event[kind]);
  }
  return isObject(pageview) ? { kind: 'pageview', name: 'pageview', text: pageviewInfo?.title } : { kind: 'other' };
}

/** The facts of a message: when, what, and where it belongs. */
export function summaryOf(message) {
  const { kind, name, text, selector, variable } = factsOf(message);
  const { id, timestamp, pageviewInfo, sessionInfo, user } = message;
  return {
    time: typeof timestamp === 'string' && /^[1-9]\d{12}$/.test(timestamp) ? Number(timestamp) : null,
    kind,
    name: shortText(name) ?? 'unnamed',
    text: shortText(text),
    selector: shortText(selector),
    variable: shortText(variable),
    screen: firstText(pageviewInfo?.title, pageviewInfo?.viewController),
    controller: shortText(pageviewInfo?.viewController),
    message: shortText(id),
    pageview: shortText(pageviewInfo?.id),
    session: shortText(sessionInfo?.id),
    user: firstText(user?.identity, user?.id),
  };
}
