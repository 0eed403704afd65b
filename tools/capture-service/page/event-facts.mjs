// What a message says, for people. It is the app's data and may have any shape, so every step down may find nothing.

import { shortText } from './json-text.mjs';

const MAX_TEXT = 300;
const MAX_FACTS = 60; // the message has the rest

const at = (value, ...keys) =>
  keys.reduce(
    (inner, key) => (typeof inner === 'object' && inner !== null && Object.hasOwn(inner, key) ? inner[key] : undefined),
    value,
  );
const entriesOf = (value) => (typeof value === 'object' && value !== null ? Object.entries(value) : []);
const OWN_OF_PAGEVIEW = new Set(['viewController', 'title', 'screenA11yId', 'screenA11yLabel', 'timestamp', 'id']);

/** Properties that carry their type: {"plan": {"string": "pro"}}. */
const typed = (properties) =>
  entriesOf(properties).map(([name, value]) => [
    name,
    typeof value === 'object' ? Object.values(value ?? {})[0] : value,
  ]);

/** Rows [term, value], the most telling first. */
export function factsOf(message) {
  const kind = entriesOf(at(message, 'event')).find(([key]) => key !== 'appVisibilityState');
  const event = kind?.[1];
  const pageview = at(message, 'pageviewInfo');
  const facts = [
    ['Text', at(event, 'targetText')],
    ['View', at(event, 'targetView')],
    ['Action', at(event, 'targetSelector')],
    ['Variable', at(event, 'targetIvar')],
    ['Label', at(event, 'targetA11yLabel')],
    ['Identifier', at(event, 'targetA11yId')],
    ['Source', at(event, 'source')],
    ...typed(at(event, 'customProperties')),
    ...typed(at(event, 'sourceProperties')),
    ['Screen', at(pageview, 'title')],
    ['Controller', at(pageview, 'viewController')],
    ...entriesOf(pageview).filter(([name]) => !OWN_OF_PAGEVIEW.has(name)),
    ...typed(at(message, 'properties')),
    ['User', at(message, 'user', 'identity') ?? at(message, 'user', 'id')],
  ];
  return facts
    .map(([term, value]) => [shortText(term, MAX_TEXT), shortText(value, MAX_TEXT)])
    .filter(([, value]) => value !== '')
    .slice(0, MAX_FACTS);
}
