import assert from 'node:assert/strict';
import fs from 'node:fs/promises';
import path from 'node:path';
import test from 'node:test';
import { Desktop } from './desktop.mjs';
import { Expected, steadied } from './messages.mjs';

const window = 'Qt6 Configuration Tool';
const tabs = [window, 130, 66];
const information = [window, -145, 25];
const closeBox = ['Warning', -50, -23];
const leave = [window, -218, -18];
const touches = (records) => records.filter((record) => record.message?.event.touchEvent).length;

test('an unmodified program tells what is done in it', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  const program = desktop.launch('qt6ct');
  for (const [index, click] of [tabs, information, closeBox].entries()) {
    await desktop.click(...click);
    await desktop.received((records) => touches(records) > index);
  }
  await desktop.click(...leave);
  await program.end;
  desktop.launch('qt6ct'); // the click that ended it is kept, if there was no time to send it
  const all = await desktop.received((records) => touches(records) === 4);

  const session = all[0].named.s;
  const own = all.filter(({ named, message }) => (message?.sessionInfo.id ?? named.s) === session);
  const arrived = steadied([...own.filter(({ named }) => named), ...own.filter(({ message }) => message)]);
  const expected = new Expected('qt6ct');
  const main = 'QApplication > QWidgetWindow > MainWindow > MainWindow#MainWindow';
  const asked = 'QApplication > QWidgetWindow > QMessageBox > QMessageBox';
  const ok = { text: 'OK', targetSelector: 'clicked' };
  const appearance = expected.pageview('#4', 'AppearancePage', 'Appearance');
  const fonts = expected.pageview('#5', 'FontsPage', 'Fonts');
  const box = expected.pageview('#6', 'QMessageBox', 'Warning');
  const fontsAgain = expected.pageview('#7', 'FontsPage', 'Fonts');
  assert.deepEqual(arrived, [
    expected.pageview('#3', 'MainWindow', window, '0'),
    appearance,
    fonts,
    box,
    fontsAgain,
    expected.touch('#8', appearance, `${main} > QTabWidget#tabWidget > QTabBar#qt_tabwidget_tabbar`, { text: 'Fonts', label: '' }),
    expected.touch('#9', fonts, `${main} > QFrame#warningFrame > QPushButton#infoButton`, {
      text: 'Information',
      targetSelector: 'on_infoButton_clicked',
    }),
    expected.touch('#10', box, `${asked} > QDialogButtonBox#qt_msgbox_buttonbox > QPushButton`, ok),
    expected.touch('#11', fontsAgain, `${main} > QDialogButtonBox#buttonBox > QPushButton`, ok),
  ]);
});

/** Every file below a folder, by its path, with its content. */
async function filesBelow(folder) {
  const entries = await fs.readdir(folder, { recursive: true, withFileTypes: true });
  const files = entries.filter((entry) => entry.isFile()).map((entry) => path.join(entry.parentPath ?? entry.path, entry.name));
  return Object.fromEntries(await Promise.all(files.sort().map(async (file) => [file, await fs.readFile(file, 'latin1')])));
}

test('a program does, prints and writes with Kova what it does without', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  const settings = path.join(desktop.home, '.config', 'qt6ct');
  const use = async (how) => {
    await fs.rm(settings, { recursive: true, force: true });
    const program = desktop.launch('qt6ct', how);
    for (const click of [tabs, information, closeBox, leave]) await desktop.click(...click);
    return { end: await program.end, written: await filesBelow(settings) };
  };
  const without = await use({ withKova: false });
  assert.ok(Object.keys(without.written).length > 0);
  assert.deepEqual(await use({ environment: { KOVA_DISABLE: '1' } }), without);
  assert.deepEqual((await (await fetch(`${desktop.url}/_/records`)).json()).records, []);
  assert.deepEqual(await use(), without);
  await desktop.received((records) => touches(records) > 0);
});
