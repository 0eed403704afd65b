// The chain of responders from the application down to the view that was touched, as a tree. What an app sends is taken as
// data of any shape.

import { appText, el } from './dom.mjs';
import { shortText } from './json-text.mjs';
import { frameOf } from './screen-picture.mjs';

const MAX_NODES = 1000;
const MAX_TEXT = 200;
const MAX_ADDED = 40; // members that an app adds to a node
const OWN_KEYS = ['class', 'accessibilityLabel', 'accessibilityIdentifier', 'boundingBox'];

const isObject = (value) => typeof value === 'object' && value !== null && !Array.isArray(value);
const short = (value) => shortText(value, MAX_TEXT);

/** {x, y, width, height} in the window's points, or null. */
function boxOf(value) {
  const [x, y] = [value?.upperLeftOrigin?.x, value?.upperLeftOrigin?.y];
  const [width, height] = [value?.size?.width, value?.size?.height];
  if (![x, y, width, height].every(Number.isFinite) || width < 0 || height < 0) return null;
  return { x, y, width, height };
}

/** Nodes {index, name, label, identifier, box, more}, from the top down to the view; `index` is the place as sent. */
export function nodesOf(viewAncestry) {
  const list = Array.isArray(viewAncestry?.ancestry) ? viewAncestry.ancestry : [];
  return list
    .map((node, index) => [node, index])
    .slice(-MAX_NODES)
    .filter(([node]) => isObject(node))
    .map(([node, index]) => ({
      index,
      name: short(node.class ?? 'unnamed'),
      label: short(node.accessibilityLabel),
      identifier: short(node.accessibilityIdentifier),
      box: boxOf(node.boundingBox),
      more: Object.entries(node)
        .filter(([key]) => !OWN_KEYS.includes(key))
        .slice(0, MAX_ADDED)
        .map(([key, value]) => [short(key), short(value)]),
    }));
}

export class AncestryTree {
  element = el('div', { class: 'ancestry' });
  #onPoint;
  #onChoose;
  #nodes = [];
  #items = [];
  #chosen = -1;
  #tree = el('div', { class: 'tree', role: 'tree', 'aria-label': 'View ancestry' });
  #facts = el('dl', { class: 'facts node-facts' });

  /**
   * `onPoint(node)` is called for the node under the pointer, else the chosen one; null when there is none. `onChoose(node)` for
   * each that is chosen.
   */
  constructor({ onPoint, onChoose }) {
    this.#onPoint = onPoint;
    this.#onChoose = onChoose;
    this.element.append(this.#tree, this.#facts);
    this.#tree.addEventListener('click', (event) => this.#choose(this.#indexOf(event.target)));
    this.#tree.addEventListener('pointerover', (event) =>
      this.#onPoint(this.#nodes[this.#indexOf(event.target)] ?? this.#nodes[this.#chosen] ?? null),
    );
    this.#tree.addEventListener('pointerleave', () => this.#onPoint(this.#nodes[this.#chosen] ?? null));
    this.#tree.addEventListener('keydown', (event) => this.#handleKey(event));
  }

  show(nodes) {
    const hadFocus = this.#tree.contains(document.activeElement);
    this.#nodes = nodes;
    this.#items = nodes.map((node, level) => this.#item(node, level));
    this.#tree.style.setProperty('--levels', String(Math.max(1, nodes.length - 1)));
    this.#tree.replaceChildren(...this.#items);
    this.#chosen = -1;
    this.#facts.replaceChildren();
    this.#choose(nodes.length - 1);
    if (hadFocus) this.#items.at(-1)?.focus();
  }

  #item(node, level) {
    const item = el(
      'div',
      {
        class: 'node cut',
        role: 'treeitem',
        'aria-level': String(level + 1),
        'aria-selected': 'false',
        tabindex: '-1',
        'data-index': String(level),
      },
      el('span', { class: 'node-class', text: node.name }),
      node.label && el('span', { class: 'node-label' }, '“', appText(node.label), '”'),
      node.identifier && el('span', { class: 'node-identifier' }, '#', appText(node.identifier)),
    );
    item.title = item.textContent;
    item.style.setProperty('--level', String(level));
    return item;
  }

  #indexOf(target) {
    return Number(target.closest?.('.node')?.dataset.index ?? -1);
  }

  #choose(index) {
    const item = this.#items[index];
    if (!item) return;
    const before = this.#items[this.#chosen];
    before?.setAttribute('aria-selected', 'false');
    before?.setAttribute('tabindex', '-1');
    item.setAttribute('aria-selected', 'true');
    item.setAttribute('tabindex', '0');
    this.#chosen = index;
    this.#facts.replaceChildren(...factRows(factsOf(this.#nodes[index])));
    this.#onPoint(this.#nodes[index]);
    this.#onChoose(this.#nodes[index]);
  }

  #handleKey(event) {
    const steps = { ArrowUp: -1, ArrowLeft: -1, ArrowDown: 1, ArrowRight: 1, Home: -Infinity, End: Infinity };
    if (!(event.key in steps)) return;
    event.preventDefault();
    event.stopPropagation();
    this.#choose(Math.max(0, Math.min(this.#chosen + steps[event.key], this.#items.length - 1)));
    this.#items[this.#chosen]?.focus();
  }
}

function factsOf({ label, identifier, box, more }) {
  const frame = box ? frameOf(box) : 'none: it is not a view';
  return [['Label', label], ['Identifier', identifier], ['Frame', frame], ...more].filter(([, value]) => value !== '');
}

/** Terms and descriptions for a <dl>. */
export function factRows(facts) {
  return facts.map(([term, value]) =>
    el('div', {}, el('dt', { class: 'cut', text: term, title: term }), el('dd', { text: value, title: value })),
  );
}
