import assert from 'node:assert/strict';
import { test } from 'node:test';
import { screensOf } from '../../../tools/capture-service/lib/screens.mjs';
import { sessionsOf } from '../../../tools/capture-service/page/received-model.mjs';

const pageview = (v, h, s = '1') => ({ valid: true, endpoint: 'h', named: { u: '73', s, v, h, t: '' } });
const touch = (id, targetText, more = {}) => ({
  valid: true,
  endpoint: 'track',
  message: { event: { touchEvent: { type: 'touch', targetView: 'UIView', targetText }, appVisibilityState: 0 }, pageviewInfo: { id, ...more } },
});

test('a message stands under its own pageview, wherever it was received, and a lost one is not hidden', () => {
  const lines = screensOf([
    pageview('7', 'Shop'),
    pageview('8', 'Basket'),
    touch('8', 'Check out', { viewController: 'Basket', basketSize: '1' }),
    touch('7', ''),
    { valid: false, endpoint: 'track', message: 'nonsense' },
    pageview('9', '', '2'),
    touch('6', 'Gone'),
  ]);
  assert.deepEqual(lines, [
    '',
    'session 1 of user 73',
    '  Shop',
    '    touch     UIView',
    '  Basket  basketSize=1',
    '    touch     “Check out”',
    '',
    'session 2 of user 73',
    '  (no screen)',
    '',
    '  (pageview 6 did not arrive)',
    '    touch     “Gone”',
  ]);
});

test('a filter of the page hides records, and no name of a screen', () => {
  const bought = touch('8', 'Buy');
  Object.assign(bought.message, { user: { id: '73' }, sessionInfo: { id: '1' } });
  const entries = [pageview('7', 'Shop'), pageview('8', 'Basket'), bought].map((record) => ({ record }));
  const [{ count, screens }] = sessionsOf(entries, ({ record }) => record === bought);
  assert.deepEqual([count, screens.map(({ title, entries: on }) => [title, on.length])], [1, [['Basket', 1]]]);
});
