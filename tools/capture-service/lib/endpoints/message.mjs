// One message: who, where, when, and the event that happened.

import {
  advertiserId,
  eitherOf,
  environmentId,
  epochMilliseconds,
  isObject,
  nonEmptyText,
  object,
  oneOf,
  platformName,
  randomId,
  show,
  text,
  userId,
  vendorId,
  version,
} from '../checks.mjs';
import { eventKinds, someTypedProperties } from './event-kinds.mjs';

const event = (value, path, problems) => {
  if (!isObject(value)) {
    problems.push(`${path} is ${show(value)}, not an object`);
    return;
  }
  const kinds = Object.keys(value).filter((key) => key !== 'appVisibilityState');
  if (kinds.length !== 1) problems.push(`${path} has ${kinds.length} kinds, not one`);
  for (const kind of kinds) {
    if (Object.hasOwn(eventKinds, kind)) eventKinds[kind](value[kind], `${path}.${kind}`, problems);
    else problems.push(`${path} is of the unknown kind ${show(kind)}`);
  }
  // Installations and upgrades are noticed without looking at the application's state.
  const states = kinds.includes('lifecycleEvent') ? [0] : [1, 2];
  oneOf(...states)(value.appVisibilityState ?? null, `${path}.appVisibilityState`, problems);
};

const fields = object({
  id: randomId,
  envId: environmentId,
  user: object({ id: userId, 'identity?': nonEmptyText }),
  timestamp: epochMilliseconds,
  applicationInfo: object({ appName: text, appVersion: text, libraryVersion: version }),
  deviceInfo: object({
    carrier: text,
    phoneModel: text,
    platform: platformName,
    'iosVendorId?': vendorId,
    'iosAdvertiserId?': advertiserId,
  }),
  // Without a pageview and a session a message must wait on the device. The host may add keys to a pageview.
  pageviewInfo: object(
    {
      viewController: text,
      title: text,
      screenA11yId: text,
      screenA11yLabel: text,
      id: randomId,
      timestamp: epochMilliseconds,
    },
    { otherKeys: true },
  ),
  sessionInfo: object({ id: randomId, timestamp: eitherOf(epochMilliseconds, oneOf('')) }),
  'properties?': someTypedProperties,
  'event?': event,
  'pageview?': object({}),
});

/** The problems of a message that was uploaded. */
export function messageProblems(message) {
  const problems = [];
  fields(message, 'message', problems);
  if (!isObject(message)) return problems;
  const hasEvent = Object.hasOwn(message, 'event');
  const hasPageview = Object.hasOwn(message, 'pageview');
  if (hasEvent === hasPageview) problems.push(`message has ${hasEvent ? 'both' : 'neither'} of "event" and "pageview"`);
  else if (hasPageview) problems.push('message is a pageview, which is uploaded as a pixel, never in a batch');
  return problems;
}
