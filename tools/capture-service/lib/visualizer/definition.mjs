// What a node of an ancestry is known by: the classes from the top down to it, its identifier and its label.

const listOf = (ancestry) => (Array.isArray(ancestry?.ancestry) ? ancestry.ancestry : []);
const textOf = (value) => (typeof value === 'string' && value !== '' ? value : null);

/** { classPath, identifier, label } of the node at `index` of an ancestry as sent, or null when there is no such node. */
export function definitionOf(ancestry, index) {
  const nodes = listOf(ancestry).slice(0, index + 1);
  const node = nodes[index];
  if (node === undefined) return null;
  return {
    classPath: nodes.map((one) => textOf(one?.class)),
    identifier: textOf(node?.accessibilityIdentifier),
    label: textOf(node?.accessibilityLabel),
  };
}

/** Whether the other ancestry goes through a node of that definition: the view itself was touched, or one in it. */
export function passesThrough(ancestry, { classPath, identifier, label }) {
  const other = definitionOf(ancestry, classPath.length - 1);
  return (
    other !== null &&
    other.identifier === identifier &&
    other.label === label &&
    classPath.every((name, index) => name === other.classPath[index])
  );
}
