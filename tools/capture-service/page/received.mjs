// The page of what came in by upload: sums, what was refused in front, then users, sessions and screens, live.

import { el, find, place, setText } from './dom.mjs';
import { plural } from './format.mjs';
import { RECORD_KINDS, duplicatesOf, kindOfRecord, planFaults, sessionsOf } from './received-model.mjs';
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

const wait = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

function showConnection(isThere) {
  const words = isThere ? 'Service connected' : 'Service not connected';
  find('connection').replaceChildren(el('span', { class: 'dot', 'aria-hidden': true }), words);
  find('connection').dataset.state = isThere ? 'good' : 'bad';
  find('outage').hidden = isThere;
}

/** Asks for what is new, without end. Another run of the service, or of its numbers, begins the page anew. */
async function listen() {
  let known = '';
  let since = 0;
  for (;;) {
    try {
      const asked = fetch(`records.json?run=${known}&since=${since}`, { signal: AbortSignal.timeout(ANSWER_MS) });
      const { run, last, records } = await (await asked).json();
      const isOther = run !== known;
      if (isOther) {
        [known, since, entries] = [run, 0, []];
        elements.clear();
      }
      showConnection(true);
      since = records.at(-1)?.number ?? since;
      entries = [...entries, ...records].slice(-MAX_RECORDS);
      if (isOther || records.length > 0) render();
      await wait(since < last ? 0 : REST_MS);
    } catch {
      showConnection(false);
      await wait(RETRY_MS);
    }
  }
}

function render() {
  const duplicates = duplicatesOf(entries);
  const marksOf = new Map(
    entries.map(({ number, record }) => [
      number,
      [...(duplicates.has(number) ? ['sent again'] : []), ...planFaults(record, plan).map((fault) => `Plan: ${fault}`)],
    ]),
  );
  for (const number of elements.keys()) if (!marksOf.has(number)) elements.delete(number);
  const isShown = ({ record }) => kinds.size === 0 || kinds.has(kindOfRecord(record));
  const elementOf = (entry) => {
    if (!elements.has(entry.number)) elements.set(entry.number, recordElement(entry, marksOf.get(entry.number)));
    return elements.get(entry.number);
  };
  renderSums(duplicates, marksOf);
  renderKinds();
  renderRefused(entries.filter((entry) => !entry.record.valid && isShown(entry)), elementOf);
  renderSessions(sessionsOf(entries, isShown).reverse(), elementOf);
  find('nothing').hidden = entries.length > 0;
}

function renderSums(duplicates, marksOf) {
  const count = (accepts) => entries.filter(accepts).length;
  const sums = {
    Accepted: count(({ record }) => record.valid),
    Refused: count(({ record }) => !record.valid),
    'Sent again': duplicates.size,
    'Telemetry reports': count(({ record }) => record.endpoint === 'telemetry'),
    ...(plan && { 'Not as planned': count(({ number }) => marksOf.get(number).some((mark) => mark.startsWith('Plan'))) }),
  };
  const rows = Object.entries(sums).map(([name, number]) => {
    const isBad = number > 0 && (name === 'Refused' || name === 'Not as planned');
    return el('div', { class: isBad && 'bad' }, el('dt', { text: name }), el('dd', { text: number.toLocaleString() }));
  });
  find('sums').replaceChildren(...rows);
}

const chips = new Map();

function renderKinds() {
  for (const [kind, label] of Object.entries(RECORD_KINDS)) {
    if (!chips.has(kind)) {
      const number = el('span');
      const button = el('button', { 'aria-pressed': 'false' }, label, ' ', number);
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
  const wanted = sessions.map((told, index) => {
    let section = sections.get(told.key);
    if (!section) {
      section = { element: el('details', { class: 'session' }, el('summary')), show: () => {} };
      section.element.open = index === 0;
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
    };
    section.show();
    return section.element;
  });
  for (const [key, { element }] of sections) if (!wanted.includes(element)) sections.delete(key);
  fill(find('sessions'), find('sessions').firstChild, wanted);
}

function headOf(section, pageview, name) {
  section.heads ??= new Map();
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

const settings = await fetch('settings.json').then((answer) => answer.json());
plan = settings.plan;
find('live').hidden = !settings.isLive;
await listen();
