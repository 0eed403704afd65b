// Puts each message under the pageview that it names. Refused records are left out: they may hold anything.

const phrase = (...parts) => parts.filter((part) => part).join('  ');
const quoted = (text) => (text ? `“${text}”` : '');

function propertiesOf(properties) {
  const shown = Object.entries(properties ?? {}).map(([name, typed]) => `${name}=${Object.values(typed)[0]}`);
  return shown.length > 0 ? `{${shown.join(', ')}}` : '';
}

const LINES = {
  touchEvent: (event) => [
    event.type,
    phrase(
      quoted(event.targetText || event.targetA11yLabel) || event.targetView,
      event.targetSelector && `→ ${event.targetSelector}`,
      event.targetIvar && `[${event.targetIvar}]`,
    ),
  ],
  customEvent: (event) => ['event', phrase(quoted(event.type), propertiesOf(event.customProperties))],
  sourceEvent: (event) => ['event', phrase(quoted(event.type), `from ${event.source}`)],
  sourceCustomEvent: (event) => ['event', phrase(quoted(event.type), `from ${event.source}`)],
  lifecycleEvent: (event) => [event.isUpgrade ? 'upgrade' : 'install', event.currentVersionCode],
};

function messageLine({ event }) {
  const kind = Object.keys(event).find((key) => key in LINES);
  const [what, details] = kind ? LINES[kind](event[kind]) : ['other', ''];
  return `    ${what.padEnd(9)} ${details}`;
}

const OWN = new Set(['viewController', 'title', 'screenA11yId', 'screenA11yLabel', 'id', 'timestamp']);

/** What the app adds to a pageview is known by its messages alone. */
function pageviewLine({ named }, [message]) {
  const added = Object.entries(message?.pageviewInfo ?? {}).filter(([name]) => !OWN.has(name));
  return phrase(
    `  ${named.h || '(no screen)'}`,
    quoted(named.t),
    added.map(([name, value]) => `${name}=${value}`).join(' '),
  );
}

/** The lines of all sessions, in the order of their pageviews. */
export function screensOf(records) {
  const valid = records.filter((record) => record.valid);
  const pageviews = valid.filter(({ endpoint }) => endpoint === 'h');
  const messages = valid.filter(({ message }) => message !== undefined).map(({ message }) => message);
  const on = new Map();
  for (const message of messages) {
    const { id } = message.pageviewInfo;
    on.set(id, [...(on.get(id) ?? []), message]);
  }

  const lines = [];
  let session = '';
  for (const pageview of pageviews) {
    const { u, s, v } = pageview.named;
    if (`${u} ${s}` !== session) lines.push('', `session ${s} of user ${u}`);
    session = `${u} ${s}`;
    const done = on.get(v) ?? [];
    lines.push(pageviewLine(pageview, done), ...done.map(messageLine));
    on.delete(v);
  }
  for (const [id, lost] of on) lines.push('', `  (pageview ${id} did not arrive)`, ...lost.map(messageLine));
  return lines;
}
