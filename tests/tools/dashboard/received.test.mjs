// The page of what came in by upload.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { bailLog, batchBody, events, logsBody, message, pageviewUrl, telemetryPath, trackPath } from '../capture-service/support.mjs';
import { Dashboard, launchBrowser } from './support.mjs';

test('what was received: from the file and live, the refused in front, by session and screen, against the plan', async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'received-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const file = path.join(folder, 'received.jsonl');
  const old = { seq: 7, receivedAt: 1732190000000, endpoint: 'track', valid: true, problems: [], message: message(events.touch, { id: '9' }) };
  fs.writeFileSync(file, `half a line\n${JSON.stringify(old)}\n`.repeat(5100) + JSON.stringify(old));
  const browser = await launchBrowser();
  t.after(() => browser.close());
  const plan = { Checkout: { trial: 'string', plan: 'string', note: 'string?' } };
  const dashboard = await Dashboard.open(t, browser, { file, plan, path: '/received/' });
  const { page } = dashboard;
  const send = (where, body) => fetch(dashboard.url + where, body && { method: 'POST', body, headers: { 'Content-Type': 'application/json' } });
  const sums = (...wanted) => page.waitForFunction((all) => [...document.querySelectorAll('#sums dd')].map((dd) => dd.textContent).join() === all, wanted.join());
  await sums('5,000', '0', '4,999', '0', '0');
  const many = Array.from({ length: 1000 }, (_, index) => message(events.touch, { id: String(index).padStart(16, '0') }));
  await send(trackPath, batchBody(...many));
  await sums('5,000', '0', '3,999', '0', '0'); // the oldest give way to what comes in
  assert.equal(await page.locator('.record').count(), 5000);
  fs.writeFileSync(file, '');
  await dashboard.stopService();
  await dashboard.shows('#outage', 'start it again');
  await dashboard.startService();
  await dashboard.shows('#nothing', 'Nothing yet.'); // on the page that was open all the time

  const evil = '<b data-evil>Buy</b>';
  const touch = { ...events.touch, touchEvent: { ...events.touch.touchEvent, targetText: evil } };
  await send(trackPath, batchBody(null));
  await send(pageviewUrl);
  await page.locator('.session[open]').waitFor();
  await send(pageviewUrl);
  await send('/_/behaviour', '{"mode":"status","times":1}');
  await send(trackPath, batchBody(message(events.custom, { id: '0000000000000002' }))); // was not accepted, so the next is the first
  await send(trackPath, batchBody(message(touch, { id: '0000000000000001' }), message(events.custom, { id: '0000000000000002' })));
  await send(trackPath, batchBody(message(events.custom, { id: '0000000000000002' })));
  await send(trackPath, batchBody(message({ customEvent: { type: 'Unknown' }, appVisibilityState: 2 }, { id: '0000000000000003', user: { id: '74' } })));
  await send(telemetryPath, logsBody(bailLog));
  await send(trackPath, batchBody(message(events.touch, { properties: { é: { string: 'x' }, n: { number: 3 } } })));
  await send(pageviewUrl.replace('&z=2', '&z=7'));
  await sums('7', '3', '1', '2', '1', '4');

  const refused = page.locator('#refused .record');
  const faults = await refused.locator('.fault').allTextContents();
  assert.match(faults[0], /^parameter "z" is "7", not 0, 1 or 2 \(byte \d+\)$/);
  assert.match(faults[1], /^message.properties\["n"\] is .*\(byte \d+\)$/);
  for (const [index, wanted] of ['z=7&', '{"number":3}'].entries()) {
    await refused.nth(index).locator('summary').click();
    const raw = Buffer.from(await refused.nth(index).locator('pre').textContent());
    assert.equal(raw.subarray(Number(/byte (\d+)/.exec(faults[index])[1])).toString().slice(0, wanted.length), wanted);
  }
  await refused.last().locator('summary').click();
  assert.equal(await refused.last().locator('pre').textContent(), 'null');
  const titles = await page.locator('.session > summary strong').allTextContents();
  assert.deepEqual(titles, ['Without a session', 'User 74 · session …0042', 'User 73 · session …0042', 'User 1234567890123456 · session …0042']);
  const screens = page.locator('.session[open]'); // only the one that came first is open by itself
  assert.deepEqual(await screens.locator('.mark-word').allTextContents(), ['sent again']);
  await screens.locator('.record summary').first().click();
  assert.match(await screens.locator('.facts').innerText(), /sp t\s+100%\s+k plan type\s+pro&more\s+Without a value\s+d, y$/);
  const session = page.locator('.session', { hasText: 'User 73' });
  await session.evaluate((details) => (details.open = true));
  const record = session.locator('.record', { hasText: evil });
  await record.locator('summary').click();
  assert.match(await record.locator('.facts').innerText(), /event\.touchEvent\.targetText\s+<b data-evil>/);
  assert.equal(await page.locator('[data-evil]').count(), 0);
  assert.equal(await session.locator('.record', { hasText: 'Checkout' }).first().locator('.mark-word').first().textContent(), 'answered 500');
  const marks = await session.locator('.record', { hasText: 'Checkout' }).last().locator('.mark-word').allTextContents();
  assert.deepEqual(marks, ['sent again', 'Plan: “trial” is a bool, and a string in the plan.', 'Plan: “plan” is missing.']);
  await dashboard.button(/^Touches/).click();
  assert.deepEqual([await session.locator('.record').count(), await refused.count()], [1, 1]);
  assert.equal(await record.getAttribute('open'), '', 'what is read stays open');
  await dashboard.isAccessible();
  await send('/_/reset', '{}');
  await dashboard.shows('#nothing', 'Nothing yet.');
});
