// GET /h: one pageview.

import { advertiserId, epochMilliseconds, matching, platformName, randomId, text, vendorId } from '../checks.mjs';
import { baseSlots, optional, pairs, pixelEndpoint, required, sendTimeSlot, userSlots } from './pixel.mjs';

export const pageview = pixelEndpoint('h', '/h', [
  ...baseSlots,
  ...userSlots,
  required('m', text),
  required('p', text),
  required('g', text),
  required('o', text),
  required('f', platformName),
  optional('vid', vendorId),
  optional('aid', advertiserId),
  required('z', matching(/^[012]$/, '0, 1 or 2')),
  required('ts', epochMilliseconds),
  required('v', randomId),
  required('h', text),
  required('t', text),
  required('d', text),
  required('y', text),
  pairs('sp'),
  pairs('k'),
  sendTimeSlot,
]);
