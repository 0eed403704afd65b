// The page of what came in by upload: sums, what was refused in front, then users, sessions and screens, live.

import { el, find, place, setText } from './dom.mjs';
import { plural } from './format.mjs';
import { RECORD_KINDS, colourOf, duplicatesOf, isAccepted, kindOfRecord, marksOf, sessionsOf } from './received-model.mjs';
import { recordElement } from './received-record.mjs';

const MAX_RECORDS = 5000;
const RETRY_MS = 1000;
const ANSWER_MS = 30_000; // the service holds an answer back for no more than 20 s
const REST_MS = 250; // between two changes of the page

const kinds = new Set(); // that are shown; none: all
const elements = new Map(); // of records, by number
const sections = new Map(); // of sessions, by key
let entries = [];
let plan = null;

const getJson = async (url, options) => (await fetch(url, options)).json();
const wait = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

function showConnection(isThere) {
  const words = isThere ? 'Service connected' : 'Service not connected';
  find('connection').replaceChildren(el('span', { class: 'dot', 'aria-hidden': true }), words);
  find('connection').dataset.state = isThere ? 'good' : 'bad';
  find('outage').hidden = isThere;
}

/** What is newer, with the settings of the service when it is another run; null when it does not answer. */
async function ask(known, since) {
  try {
    const told = await getJson(`records.json?run=${known}&since=${since}`, { signal: AbortSignal.timeout(ANSWER_MS) });
    return { ...told, settings: told.run === known ? null : await getJson('settings.json') };
  } catch {
    return null;
  }
}

/** Asks for what is new, without end. Another run of the service, or of its numbers, begins the page anew. */
async function listen() {
  let known = '';
  let since = 0;
  for (;;) {
    const told = await ask(known, since);
    showConnection(told !== null);
    if (told?.settings) begin(told.settings);
    if (told?.settings) [known, since] = [told.run, 0];
    const records = told?.records ?? [];
    since = records.at(-1)?.number ?? since;
    entries = [...entries, ...records].slice(-MAX_RECORDS);
    const isWhole = told !== null && since >= told.last; // parts of many records come one after the other
    if (isWhole && (told.settings || records.length > 0)) render();
    await wait(told === null ? RETRY_MS : isWhole ? REST_MS : 0);
  }
}

function begin(settings) {
  entries = [];
  elements.clear();
  sections.clear();
  plan = settings.plan;
  find('live').hidden = !settings.isLive;
}

function render() {
  const duplicates = duplicatesOf(entries);
  const marks = new Map(entries.map((entry) => [entry.number, marksOf(entry, duplicates, plan)]));
  for (const number of elements.keys()) if (!marks.has(number)) elements.delete(number);
  const isShown = ({ record }) => kinds.size === 0 || kinds.has(kindOfRecord(record));
  const elementOf = (entry) => {
    if (!elements.has(entry.number)) elements.set(entry.number, recordElement(entry, marks.get(entry.number)));
    return elements.get(entry.number);
  };
  renderSums(duplicates, marks);
  renderKinds();
  renderRefused(entries.filter((entry) => !entry.record.valid && isShown(entry)), elementOf);
  renderSessions(sessionsOf(entries, isShown).reverse(), elementOf);
  find('nothing').hidden = entries.length > 0;
}

function renderSums(duplicates, marks) {
  const count = (accepts) => entries.filter(accepts).length;
  const others = count(({ record }) => record.valid && !isAccepted(record));
  const sums = {
    Accepted: count(({ record }) => isAccepted(record)),
    Refused: count(({ record }) => !record.valid),
    ...(others > 0 && { 'Valid, answered otherwise': others }),
    'Sent again': duplicates.size,
    'Telemetry reports': count(({ record }) => record.endpoint === 'telemetry'),
    ...(plan && { 'Not as planned': count(({ number }) => marks.get(number).some((mark) => mark.startsWith('Plan'))) }),
  };
  const rows = Object.entries(sums).map(([name, number]) => {
    const isBad = number > 0 && (name === 'Refused' || name === 'Not as planned');
    return el('div', { class: isBad && 'bad' }, el('dt', { class: 'soft', text: name }), el('dd', { text: number.toLocaleString() }));
  });
  find('sums').replaceChildren(...rows);
}

const chips = new Map();

function renderKinds() {
  for (const [kind, label] of Object.entries(RECORD_KINDS)) {
    if (!chips.has(kind)) {
      const number = el('span', { class: 'soft' });
      const button = el('button', { 'aria-pressed': 'false', 'data-kind': colourOf(kind) }, label, ' ', number);
      button.addEventListener('click', () => {
        if (!kinds.delete(kind)) kinds.add(kind);
        button.setAttribute('aria-pressed', String(kinds.has(kind)));
        render();
      });
      chips.set(kind, number);
      find('kinds').append(button);
    }
    setText(chips.get(kind), String(entries.filter(({ record }) => kindOfRecord(record) === kind).length));
  }
}

function renderRefused(refused, elementOf) {
  const root = find('refused');
  root.hidden = refused.length === 0;
  if (root.childElementCount === 0) root.append(el('h3'));
  setText(root.firstChild, `${plural(refused.length, 'record')} refused`);
  fill(root, root.children[1] ?? null, refused.toReversed().map(elementOf));
}

/** Only sessions that are open hold their records: five thousand at a time would make any page slow. */
function renderSessions(sessions, elementOf) {
  const isFirst = sections.size === 0; // of this run: the newest is open; what begins later waits to be opened
  const wanted = sessions.map((told, index) => {
    let section = sections.get(told.key);
    if (!section) {
      section = { element: el('details', { class: 'session' }, el('summary')), show: () => {}, heads: new Map() };
      section.element.open = isFirst && index === 0;
      section.element.addEventListener('toggle', () => section.show());
      sections.set(told.key, section);
    }
    const title = told.session === undefined ? 'Without a session' : `User ${told.user} · session …${String(told.session).slice(-4)}`;
    section.element.firstChild.replaceChildren(
      el('strong', { text: title, title: told.session }),
      el('span', { class: 'soft', text: ` ${plural(told.count, 'record')} on ${plural(told.screens.length, 'screen')}` }),
    );
    section.show = () => {
      if (!section.element.open) return;
      const rows = told.screens.flatMap(({ pageview, title: name, entries: on }) => [
        headOf(section, pageview, name),
        ...on.map(elementOf),
      ]);
      fill(section.element, section.element.children[1] ?? null, rows);
      for (const [pageview, head] of section.heads) if (head.parentNode !== section.element) section.heads.delete(pageview);
    };
    section.show();
    return section.element;
  });
  for (const [key, { element }] of sections) if (!wanted.includes(element)) sections.delete(key);
  fill(find('sessions'), find('sessions').firstChild, wanted);
}

function headOf(section, pageview, name) {
  if (!section.heads.has(pageview)) section.heads.set(pageview, el('h3', { class: 'screen-head' }));
  const head = section.heads.get(pageview);
  setText(head, name ?? (pageview === undefined ? 'On no screen' : `A screen that did not arrive (${pageview})`));
  return head;
}

/** Makes the children from `before` on just these; what stays is not moved. */
function fill(parent, before, children) {
  const wanted = new Set(children);
  for (let node = before; node; ) {
    const next = node.nextSibling;
    if (!wanted.has(node)) {
      if (node === before) before = next;
      node.remove();
    }
    node = next;
  }
  for (const child of children) before = place(parent, child, before);
}

await listen();
