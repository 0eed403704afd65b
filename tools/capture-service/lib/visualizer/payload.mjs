// The one argument of everything that an app sends: who it is, and what happened. Nothing further in looks at a value
// that has not passed here; what has passed is shallow enough to be walked and printed, and small enough to be kept.

import { isObject, matching, object, that } from '../checks.mjs';
import { layoutFault } from '../json-body.mjs';

const MAX_CHARACTERS = 4 * 1024 * 1024; // without the pictures

const shortText = that((value) => typeof value === 'string' && value.length <= 10_000, 'a string of at most 10,000 characters');
const senderFields = object(
  {
    appId: matching(/^[1-9]\d{0,19}$/, 'an environment id (digits, no leading zero)'),
    deviceId: matching(/^\d{1,10}$/, 'a device id (a number below 2^32 in decimal)'),
    deviceName: shortText,
    deviceType: shortText,
    'pairCode?': shortText,
  },
  { otherKeys: true },
);

/**
 * Returns { problem }, or { sender, content, pictures }: the sender's ids, names and pair code, the members that are
 * JSON, and the two that may be pictures, which are of any type still.
 */
export function readPayload(payload) {
  if (!isObject(payload)) return { problem: 'the payload is not an object' };
  const { image_data: image, full_image_data: fullImage, ...content } = payload;
  const problem = sizeProblem(content);
  if (problem !== null) return { problem };
  const problems = [];
  senderFields(content, 'the payload', problems);
  if (problems.length > 0) return { problem: problems.join('; ') };
  const { appId, deviceId, deviceName, deviceType, pairCode } = content;
  return { sender: { appId, deviceId, deviceName, deviceType, pairCode }, content, pictures: { image, fullImage } };
}

function sizeProblem(content) {
  let json;
  try {
    json = JSON.stringify(content);
  } catch {
    return 'the payload is nested too deeply';
  }
  if (json.length > MAX_CHARACTERS) return `the payload is of ${json.length} characters, over the limit of ${MAX_CHARACTERS}`;
  return layoutFault(json)?.problem ?? null;
}
