// Checks of decoded values. A check is a function (value, path, problems) that appends a sentence to `problems` for
// each thing it refuses; it never throws and never changes the value. `path` names the value in those sentences.

const MAX_ID = '9007199254740991'; // 53 bits
const MAX_SHOWN = 60;

/** The value as JSON, cut to a length that fits a log line and free of terminal controls. */
export function show(value) {
  const json = (JSON.stringify(value) ?? String(value)).replace(/[\u007f-\u009f]/g, '?');
  return json.length > MAX_SHOWN ? `${json.slice(0, MAX_SHOWN)}…` : json;
}

export function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

/** A check from a predicate and the words for what it accepts. */
export function that(accepts, what) {
  return (value, path, problems) => {
    if (!accepts(value)) problems.push(`${path} is ${show(value)}, not ${what}`);
  };
}

export function matching(pattern, what) {
  return that((value) => typeof value === 'string' && pattern.test(value), what);
}

export function oneOf(...values) {
  return that((value) => values.includes(value), values.map(show).join(' or '));
}

/**
 * An object with the given fields and no others. A key written "name?" may be absent; it may never be null.
 * With `otherKeys` further keys are let through unseen.
 */
export function object(fields, { otherKeys = false } = {}) {
  const known = new Map(
    Object.entries(fields).map(([key, check]) => [key.replace(/\?$/, ''), { check, optional: key.endsWith('?') }]),
  );
  return (value, path, problems) => {
    if (!isObject(value)) {
      problems.push(`${path} is ${show(value)}, not an object`);
      return;
    }
    for (const [key, { check, optional }] of known) {
      if (Object.hasOwn(value, key)) check(value[key], `${path}.${key}`, problems);
      else if (!optional) problems.push(`${path} lacks "${key}"`);
    }
    if (otherKeys) return;
    for (const key of Object.keys(value)) {
      if (!known.has(key)) problems.push(`${path} has the unknown key ${show(key)}`);
    }
  };
}

export function arrayOf(check) {
  return (value, path, problems) => {
    if (!Array.isArray(value)) problems.push(`${path} is ${show(value)}, not an array`);
    else value.forEach((element, index) => check(element, `${path}[${index}]`, problems));
  };
}

/** Passes when any of the alternatives does; otherwise reports what the first one says. */
export function eitherOf(...alternatives) {
  return (value, path, problems) => {
    const found = alternatives.map((check) => {
      const own = [];
      check(value, path, own);
      return own;
    });
    if (found.every((own) => own.length > 0)) problems.push(...found[0]);
  };
}

export const text = that((value) => typeof value === 'string', 'a string');
export const nonEmptyText = matching(/^[^]+$/, 'a non-empty string');
export const boolean = that((value) => typeof value === 'boolean', 'a boolean');
export const finiteNumber = that(Number.isFinite, 'a number');
export const environmentId = matching(/^[1-9]\d*$/, 'an environment id (digits, no leading zero)');
export const epochMilliseconds = matching(/^[1-9]\d{12}$/, 'a time in milliseconds (13 digits)');
export const version = matching(/^\d+\.\d+\.\d+$/, 'a version of three numbers');
export const platformName = matching(/^iOS /, 'a platform that begins with "iOS "');
export const vendorId = matching(/^[\dA-F]{8}(-[\dA-F]{4}){3}-[\dA-F]{12}$/, 'an upper-case UUID');
export const advertiserId = matching(/^[\dA-F]{8}(-[\dA-F]{4}){3}-[\dA-F]{12}$/i, 'a UUID');

export const randomId = that(
  (value) => typeof value === 'string' && /^\d{16}$/.test(value) && value <= MAX_ID,
  'an id of 16 digits and 53 bits',
);

/** Generated user ids are padded to 16 digits; those computed from an identity are plain decimal. */
export const userId = that(
  (value) => typeof value === 'string' && /^(0|[1-9]\d{0,15}|\d{16})$/.test(value) && value.padStart(16, '0') <= MAX_ID,
  'a user id (decimal, 53 bits)',
);
