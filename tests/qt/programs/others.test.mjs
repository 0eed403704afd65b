import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import test from 'node:test';
import { Desktop } from './desktop.mjs';
import { Expected, steadied } from './messages.mjs';

const told = (records) => records.filter(({ message }) => message && !message.event.lifecycleEvent).length;
const screens = (records) => records.flatMap(({ named }) => (named?.h ? [named.h] : []));

/**
 * Takes the steps, each once the last one has been told, and then leaves by Ctrl+Q, which is told by what it causes.
 * Resolves to a function that gives what arrived, the pageviews that are meant first.
 */
async function use(desktop, program, steps) {
  let count = 0;
  for (const [step, tells, screen] of steps) {
    await step();
    count += tells;
    await desktop.received((records) => told(records) === count && (!screen || screens(records).includes(screen)));
  }
  await desktop.press('ctrl+q');
  const { status } = await program.end;
  assert.equal(status, 0);
  return async (isMeant = () => true) => {
    const records = await desktop.received(() => true);
    const pageviews = records.filter(({ named }) => named && isMeant(named));
    return steadied([...pageviews, ...records.filter((record) => told([record])).slice(0, count)]);
  };
}

test('Linguist: docks, item views, menus', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  const file = path.join(desktop.home, 'a.ts');
  const message = '<message><source>Secret</source><translation type="unfinished"></translation></message>';
  await fs.writeFile(file, `<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context><name>Notes</name>${message}</context>
</TS>
`);
  const program = desktop.launch('/usr/lib/qt6/bin/linguist', { words: [file] });
  const window = '.*a.ts - Qt Linguist';
  const arrived = await use(desktop, program, [
    [() => desktop.click(window, 350, 106), 1], // a text to translate
    [() => desktop.click(window, -8, -147), 1], // closes a dock
    [() => desktop.click(window, 187, 8), 1], // opens a menu
    [() => desktop.click(window, 220, 30), 1], // its first entry
  ]);

  const expected = new Expected('Linguist');
  const screen = expected.pageview('#3', 'MainWindow', 'Qt Linguist', '0');
  const main = 'QApplication > QWidgetWindow > MainWindow > MainWindow#MainWindow';
  const touch = (id, path, told) => expected.touch(id, screen, `${main} > ${path}`, told);
  assert.deepEqual(await arrived(), [
    screen,
    touch('#4', 'QDockWidget#StringsDockWidget > QTreeView > QModelIndex', { text: '****' }),
    touch('#5', 'QDockWidget#ErrorsDockWidget > QDockWidgetTitleButton#qt_dockwidget_closebutton', { label: 'Close', targetSelector: 'clicked' }),
    touch('#6', 'QMenuBar#menubar > QAction', { text: 'Validation' }),
    touch('#7', 'QMenuBar#menubar > QMenu#menuValidation > QAction#actionAccelerators', { text: 'Accelerators', targetSelector: 'triggered' }),
  ]);
});

test('tanglet: dialogs and a graphics view', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  const program = desktop.launch('/usr/games/tanglet');
  const arrived = await use(desktop, program, [
    [() => desktop.click('New Game.*', 100, 372), 1, 'Board'],
    [() => desktop.click(/tanglet/, 325, 142), 1], // a letter, painted by an item without a name
  ]);

  // How often its notices are shown while it makes a game depends on the machine.
  const [dialog, ...rest] = await arrived(({ h }) => h === 'NewGameDialog' || h === 'Board');
  const expected = new Expected('Tanglet', dialog.p);
  const start = expected.pageview('#3', 'NewGameDialog', 'New Game', '0');
  const board = expected.pageview('#4', 'Board', '');
  const newGame = 'QApplication > QWidgetWindow > NewGameDialog > NewGameDialog > QScrollArea > QWidget > QCommandLinkButton';
  const boardView = 'QApplication > QWidgetWindow > Window > Window > QStackedWidget > Board > Board > View';
  assert.deepEqual([dialog, ...rest], [
    start,
    board,
    expected.touch('#5', start, newGame, { text: 'Unlimited', targetSelector: 'clicked' }),
    expected.touch('#6', board, boardView),
  ]);
});

test('focuswriter: editing', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  desktop.launch('focuswriter');
  const has = (name) => (records) => screens(records).includes(name);
  await desktop.received(has('Document'));
  // Of what had to be done again only the last is looked at.
  const lastTouch = (records, isMeant) => records.findLast(({ message }) => message?.event.touchEvent && isMeant(message.event.touchEvent));
  const foundIn = (records) => lastTouch(records, ({ targetSelector }) => targetSelector === 'triggered');
  const editIn = (records) => lastTouch(records, ({ type }) => type === 'fieldedit');
  const search = async () => {
    await desktop.repeat(() => desktop.press('ctrl+f'), has('FindDialog'));
    await desktop.type('Secret');
    await desktop.press('Escape');
  };
  const records = await desktop.repeat(search, (all) => foundIn(all) && editIn(all));

  const [found, edit] = [foundIn(records), editIn(records)];
  const pageviewOf = ({ message }) => records.find(({ named }) => named?.v === message.pageviewInfo.id);
  const expected = new Expected('FocusWriter', pageviewOf(edit).named.p);
  const document = expected.pageview('#3', 'Document', '');
  const dialog = expected.pageview('#4', 'FindDialog', 'Find');
  const entry = 'QtSingleApplication > QWidgetWindow > Window > Window > QToolBar > QToolButton > QAction';
  const field = 'QtSingleApplication > QWidgetWindow > FindDialog > FindDialog > QLineEdit';
  const finding = expected.touch('#5', document, entry, { text: 'Find...', targetSelector: 'triggered' });
  finding.event.touchEvent.viewAncestry.ancestry.at(-2).accessibilityLabel = 'Find';
  assert.deepEqual(steadied([pageviewOf(found), pageviewOf(edit), found, edit]), [
    document,
    dialog,
    finding,
    expected.touch('#6', dialog, field, { type: 'fieldedit' }),
  ]);
  assert.ok(!JSON.stringify(records).includes('Secret'));
});
