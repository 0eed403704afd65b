// The endpoints that the library sends to. Each has a short name, a path, a method and
// read({ query, headers, body }) → [{ problems, content }], which never throws.

import { identify } from './identify.mjs';
import { messageBatch } from './message-batch.mjs';
import { pageview } from './pageview.mjs';
import { telemetry } from './telemetry.mjs';
import { userProperties } from './user-properties.mjs';

const endpoints = [pageview, identify, userProperties, messageBatch, telemetry];

/** The name that requests to no endpoint are filed under. */
export const OTHER = 'other';
export const endpointNames = [...endpoints.map(({ name }) => name), OTHER];
export const endpointAt = (path) => endpoints.find((endpoint) => endpoint.path === path);
