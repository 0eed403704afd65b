import assert from 'node:assert/strict';
import test from 'node:test';
import { Desktop } from './desktop.mjs';

test('the example tells what it says it tells, after a yes', { timeout: 120_000 }, async (t) => {
  const desktop = await Desktop.start(t);
  desktop.launch(process.env.NOTES, { withKova: false, words: ['--capture-url', desktop.url] });
  const click = (x, y) => desktop.click('Notes', x, y);
  await click(280, -20); // before the yes
  await click(18, 18);
  await desktop.received((records) => records.length > 0);
  await click(280, 74);
  await desktop.type('ada@example.com');
  await click(280, 102);
  await click(280, 320);
  await desktop.type('Dear diary');
  await click(50, -20);
  await click(280, 150);
  await click(30, 126);
  await click(280, -20);

  const messages = (records) => records.flatMap(({ message }) => (message ? [message] : []));
  const isOver = (records) => records.some(({ endpoint }) => endpoint === 'identify') &&
    messages(records).some(({ event }) => event.customEvent?.type === 'Export') &&
    messages(records).some(({ event }) => event.touchEvent?.targetText === 'Export');
  const records = await desktop.received(isOver);

  assert.deepEqual(records.filter(({ valid }) => !valid), []);
  const told = messages(records).sort((a, b) => a.timestamp - b.timestamp);
  const events = told.flatMap(({ event }) => (event.customEvent ? [[event.customEvent.type, event.customEvent.customProperties]] : []));
  assert.deepEqual(events, [
    ['Note added', { notes: { string: '1' } }],
    ['Export', { format: { string: 'text' }, notes: { string: '1' } }],
  ]);
  const touched = told.flatMap(({ event: { touchEvent: touch } }) => (touch ? [[touch.type, touch.targetA11yId, touch.targetText]] : []));
  assert.deepEqual(touched, [
    ['touch', 'user', ''],
    ['fieldedit', 'user', ''],
    ['touch', 'signIn', 'Sign in'],
    ['touch', 'new', 'New'],
    ['touch', undefined, '****'],
    ['touch', 'owner', '****'],
    ['touch', 'export', 'Export'],
  ]);
  assert.equal(records.find(({ endpoint }) => endpoint === 'identify').named.i, 'ada@example.com');
  assert.ok(!JSON.stringify(records).includes('diary'));
});
