// Elements are made here and nowhere else. Text is always set as text, so whatever an app sends stays text.

const SVG = 'http://www.w3.org/2000/svg';

/**
 * An element. `on…` properties are listeners, `text` is its text, a property that is null or false is left out, and
 * all others are attributes.
 */
export function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'text') element.textContent = value;
    else element.setAttribute(name, value === true ? '' : value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

/** Text of an app among the page's own words, which it cannot turn around. */
export const appText = (text) => el('bdi', { text });

/** Fetches the pictures once: by each reference to another file the browser would ask for it again. */
async function loadSprite() {
  const text = await (await fetch('sprite.svg')).text();
  const sprite = new DOMParser().parseFromString(text, 'image/svg+xml').documentElement;
  sprite.setAttribute('hidden', '');
  document.body.prepend(sprite);
}
loadSprite().catch(() => {}); // pictures are for the eye only

/** A picture of sprite.svg. */
export function icon(name) {
  const svg = document.createElementNS(SVG, 'svg');
  svg.setAttribute('class', 'icon');
  svg.setAttribute('aria-hidden', 'true');
  const use = document.createElementNS(SVG, 'use');
  svg.append(use);
  showIcon(svg, name);
  return svg;
}

export function showIcon(svg, name) {
  svg.firstChild.setAttribute('href', `#icon-${name}`);
}

/** Writes only what differs: a text node that stays is not laid out again. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export const find = (id) => document.getElementById(id);

/** For those who do not see the page. */
export function announce(text) {
  find('announcer').textContent = text;
}

const NOTICE_MS = 10_000;

/** A sentence that leaves by itself. `undo`, when there is one, is offered as long. */
export function notice(text, undo) {
  const before = document.activeElement;
  const leave = () => {
    const hadFocus = line.contains(document.activeElement);
    line.remove();
    if (hadFocus) before?.focus();
  };
  const line = el(
    'p',
    { class: undo ? 'notice undo' : 'notice' },
    el('span', { text }),
    undo && el('button', { text: 'Undo', onclick: () => (undo(), leave()) }),
    el('button', { class: 'quiet', 'aria-label': 'Dismiss', onclick: leave }, icon('close')),
  );
  for (const other of [...find('notices').children]) if (!other.classList.contains('undo')) other.remove(); // that has its time
  find('notices').append(line);
  setTimeout(leave, NOTICE_MS);
}

/**
 * Puts new content in, and keeps the keyboard where it was: on what can be done with the same device (`data-device`), else on
 * the first thing to press, or on what is told. It never gets to another device's button.
 */
export function replaceKeepingFocus(parent, ...children) {
  const { activeElement } = document;
  const hadFocus = parent.contains(activeElement);
  const { device } = activeElement?.dataset ?? {};
  parent.replaceChildren(...children.filter(Boolean));
  if (!hadFocus) return;
  const same = `${activeElement.localName}[data-device="${CSS.escape(device)}"]`;
  const next = parent.querySelector(device === undefined ? 'button' : same) ?? parent.querySelector('h2, summary') ?? parent;
  if (!next.matches('button, summary')) next.setAttribute('tabindex', '-1');
  next.focus();
}

/** The node at its place: before another one, at the end before null. Returns the one that follows; moves nothing in vain. */
export function place(parent, node, before) {
  if (node === before) return node.nextSibling;
  parent.insertBefore(node, before);
  return before;
}
