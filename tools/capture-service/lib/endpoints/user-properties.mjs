// GET /api/add_user_properties_v3: properties of the user, one parameter each.

import { randomId, text } from '../checks.mjs';
import { baseSlots, pixelEndpoint, properties, required, sendTimeSlot, userSlots } from './pixel.mjs';

export const userProperties = pixelEndpoint('user-properties', '/api/add_user_properties_v3', [
  ...baseSlots,
  ...userSlots,
  required('v', randomId),
  properties('_', text),
  sendTimeSlot,
]);
