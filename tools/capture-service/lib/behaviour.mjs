// How the service answers the library: well, or in one of the ways in which networks and servers fail. What arrives
// is recorded alike in every mode.

import { object, oneOf, that } from './checks.mjs';
import { endpointNames, OTHER } from './endpoints/index.mjs';

export const modes = ['normal', 'slow', 'status', 'reset', 'reset-mid-body', 'silent'];

const wholeNumber = (least, most) =>
  that((value) => Number.isInteger(value) && value >= least && value <= most, `a whole number, ${least} to ${most}`);

const shape = object({
  mode: oneOf(...modes),
  'delayMs?': wholeNumber(0, 600_000),
  'status?': wholeNumber(200, 599),
  'times?': that(
    (value) => value === null || (Number.isInteger(value) && value > 0),
    'a positive whole number or null',
  ),
  'endpoint?': oneOf(null, ...endpointNames.filter((name) => name !== OTHER)),
});

/** Takes a setting as a caller wrote it. Returns { setting } with every field present, or { problems }. */
export function parseSetting(given) {
  const problems = [];
  shape(given, 'behaviour', problems);
  if (problems.length > 0) return { problems };
  const { mode, delayMs = mode === 'slow' ? 1000 : 0, status = 500, times = null, endpoint = null } = given;
  return { setting: { mode, delayMs, status, times, endpoint } };
}

const NORMAL = parseSetting({ mode: 'normal' }).setting;

/** The setting in force. It goes back to normal when it has been used as often as was asked. */
export class Behaviour {
  #initial;
  #setting;

  constructor(initial = NORMAL) {
    this.#initial = initial;
    this.reset();
  }

  get setting() {
    return { ...this.#setting };
  }

  set(setting) {
    this.#setting = { ...setting };
  }

  /** Back to what the service was started with. */
  reset() {
    this.set(this.#initial);
  }

  /** The setting for one request to `endpoint`, which uses it up by one. */
  take(endpoint) {
    const setting = this.#setting;
    if (setting.endpoint !== null && setting.endpoint !== endpoint) return NORMAL;
    if (setting.times !== null && --setting.times === 0) this.#setting = { ...NORMAL };
    return setting;
  }
}
