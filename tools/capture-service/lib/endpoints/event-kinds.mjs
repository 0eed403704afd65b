// The dictionaries that a message's "event" may hold, by kind.

import { arrayOf, boolean, finiteNumber, isObject, nonEmptyText, object, show, text } from '../checks.mjs';

const typedValue = (value, path, problems) => {
  const entries = isObject(value) ? Object.entries(value) : [];
  const [type, inner] = entries.length === 1 ? entries[0] : [];
  const known = (type === 'string' && typeof inner === 'string') || (type === 'bool' && typeof inner === 'boolean');
  if (!known) problems.push(`${path} is ${show(value)}, not {"string": text} or {"bool": true or false}`);
};

/** Property names mapped to values that carry their type; possibly none. */
export const typedProperties = (value, path, problems) => {
  if (!isObject(value)) problems.push(`${path} is ${show(value)}, not an object`);
  else for (const [name, inner] of Object.entries(value)) typedValue(inner, `${path}[${show(name)}]`, problems);
};

/** The same where no properties means no key. */
export const someTypedProperties = (value, path, problems) => {
  typedProperties(value, path, problems);
  if (isObject(value) && Object.keys(value).length === 0) problems.push(`${path} is empty and should be absent`);
};

// The host's enrichment delegate may add keys to a node.
const ancestryNode = object(
  {
    class: text,
    'accessibilityLabel?': text,
    'accessibilityIdentifier?': text,
    'boundingBox?': object({
      upperLeftOrigin: object({ x: finiteNumber, y: finiteNumber }),
      size: object({ width: finiteNumber, height: finiteNumber }),
    }),
  },
  { otherKeys: true },
);

const touchEvent = object({
  type: nonEmptyText,
  targetView: text,
  targetText: text,
  'targetA11yLabel?': text,
  'targetA11yId?': text,
  'targetIvar?': text,
  'targetSelector?': text,
  'viewAncestry?': object({ ancestry: arrayOf(ancestryNode) }),
});

const lifecycleFields = object({
  previousVersionCode: text,
  previousBuildType: text,
  currentVersionCode: text,
  currentBuildType: text,
  isUpgrade: boolean,
});

const lifecycleEvent = (value, path, problems) => {
  lifecycleFields(value, path, problems);
  if (!isObject(value)) return;
  const isFirstRun = value.previousVersionCode === '<null>' || value.previousBuildType === '<null>';
  if (value.isUpgrade === isFirstRun) problems.push(`${path}.isUpgrade contradicts the previous version`);
};

export const eventKinds = {
  touchEvent,
  lifecycleEvent,
  customEvent: object({ type: text, 'customProperties?': someTypedProperties }),
  sourceEvent: object({ type: text, source: text, sourceProperties: typedProperties }),
  sourceCustomEvent: object({
    type: text,
    source: text,
    sourceProperties: typedProperties,
    'customProperties?': someTypedProperties,
  }),
};
