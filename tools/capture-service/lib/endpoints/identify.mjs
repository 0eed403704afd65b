// GET /api/identify_v3: the user behind the user id has an identity.

import { nonEmptyText, randomId, userId } from '../checks.mjs';
import { baseSlots, pixelEndpoint, required, sendTimeSlot } from './pixel.mjs';

export const identify = pixelEndpoint('identify', '/api/identify_v3', [
  ...baseSlots,
  required('u', userId),
  required('i', nonEmptyText),
  required('v', randomId),
  sendTimeSlot,
]);
