// The live page, one test a group of things that belong together for its users.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { batchBody, message, trackPath } from '../capture-service/support.mjs';
import { ScriptedApp, ancestry, buttonBox } from '../support/scripted-app.mjs';
import { Dashboard, NO_PICTURES, launchBrowser } from './support.mjs';

let browser;
before(async () => {
  browser = await launchBrowser();
});
after(() => browser?.close());

test('from an empty page over the pair code to a tap with its picture, box, facts, ancestry and message', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  await dashboard.shows('#stage .deep-link', /^kova-11:\/\/1\/launch-ev$/);
  await dashboard.isAccessible();
  let asked = 0;
  const app = await ScriptedApp.start(dashboard.url, { accepts: false, onAsked: () => asked++ });
  dashboard.after(() => app.close());
  await dashboard.button('Pair with Ada’s iPhone').evaluate((button) => (button.click(), button.click()));
  await dashboard.shows('#stage h2', 'Does Ada’s iPhone show this code?');
  await dashboard.shows('#stage .code', app.pairCode);
  await dashboard.isAccessible();
  app.accept();
  await dashboard.shows('#stage h2', 'Paired with Ada’s iPhone');
  await page.emulateMedia({ reducedMotion: 'reduce' });
  assert.equal(await page.evaluate(() => document.getAnimations().length), 0);

  app.touch();
  await dashboard.showsEvent('Tapped Add to basket');
  assert.equal(asked, 1, 'the second click asks nobody');
  await dashboard.shows('.row-under', 'addToBasket · ProductController');
  await dashboard.outlines('.target', buttonBox);
  await dashboard.shows('.screen figcaption', 'UIButton · 342 × 52 at 24, 640');
  assert.equal(await page.locator('.crop img').evaluate((image) => image.naturalWidth), buttonBox.width);
  await page.locator('.screen-frame').click();
  app.pageview(); // closes nothing
  await dashboard.hasRows(2);
  await dashboard.outlines('.target', buttonBox, '.large-frame');
  assert.ok((await page.locator('.large-frame').boundingBox()).width >= 2 * 390);
  assert.equal(await dashboard.isInSight('.large-frame .target'), true);
  assert.match(await page.locator('.large-view').evaluate((view) => getComputedStyle(view).maskImage), /gradient/, 'it goes on above');
  await page.setViewportSize({ width: 390, height: 844 });
  await page.locator('.large-frame img').waitFor();
  await page.setViewportSize({ width: 1280, height: 800 });
  await dashboard.isAccessible();
  await page.keyboard.press('Escape');
  await page.locator('.screen-frame:focus').waitFor();

  assert.deepEqual(await page.locator('.node-class').allTextContents(), ancestry.map((node) => node.class));
  await page.locator('.node', { hasText: 'ProductController' }).click();
  await dashboard.shows('.node-facts', /productId\s*shirt-01/);
  await page.getByText('Message', { exact: true }).click();
  const shown = JSON.parse(await page.locator('pre.message').textContent());
  assert.equal(shown.event.touchEvent.targetSelector, 'addToBasket');
  await dashboard.isAccessible();

  await dashboard.button('Follow newest').press('Enter');
  await page.locator('.screen-frame').focus();
  app.touch({ ...NO_PICTURES, view_ancestry: undefined });
  await dashboard.shows('.about:focus', 'This event came without a screenshot.');
  assert.ok((await page.locator('.about').boundingBox()).width > 800, 'the facts have the room');
});

test('a story: what was done, by its own time, on which screen, in whose session, after how long', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const app = await dashboard.pairedApp();
  const begun = Date.now() - 60_000;
  const at = (second, id, more = {}) => ({
    ...more,
    ...NO_PICTURES,
    pageview: { title: id === 1 ? 'Shop' : 'Basket', id: String(id) },
    over: { timestamp: String(begun + 1000 * second), ...more.over },
  });
  app.pageview(at(1, 1));
  app.pageview(at(3, 2));
  app.touch(at(2, 1, { event: { targetText: 'Basket' } })); // was held back until its action was known
  app.touch(at(15, 2, { event: { type: 'fieldedit', targetText: '', targetA11yLabel: 'E-mail' } }));
  app.touch(at(16, 2, { event: { type: 'UISwipeGestureRecognizer', targetText: '****', targetA11yLabel: '****' } }));
  const install = { lifecycleEvent: { isUpgrade: false, currentVersionCode: '1.0' }, appVisibilityState: 0 };
  app.touch(at(-1e8, 2, { over: { timestamp: '1500000000000', event: install } })); // of the day it was installed
  app.touch(at(90, 2, { over: { timestamp: String(begun + 90_000), user: { id: '73', identity: 'ann@example.com' } } }));
  await dashboard.tells(
    ...['Basket:', 'Tapped Add to basket'],
    ...['Basket:', 'Installed 1.0', 'Swiped a redacted text', 'Edited E-mail', 'Opened Basket'],
    ...['Shop:', 'Tapped Basket', 'Opened Shop'],
  );
  const texts = (selector) => dashboard.page.locator(`${selector}:visible`).allTextContents();
  assert.deepEqual(await texts('.session'), ['Session …0042 · user ann@example.com', 'Session …0042 · user 73']);
  assert.deepEqual((await texts('.row-gap')).slice(-1), ['12 s later']);
  assert.match((await texts('.row-time'))[0], /^\d\d:\d\d:\d\d\.\d{3}$/);
  await dashboard.shows('.scene:last-child .scene-facts', '2 events');

  // What the app says by itself comes by upload, and stands in its place all the same.
  const custom = { customEvent: { type: 'Order placed' }, appVisibilityState: 2 };
  const body = batchBody(message(custom, { timestamp: String(begun + 15_500) }));
  await fetch(dashboard.url + trackPath, { method: 'POST', body, headers: { 'Content-Type': 'application/json' } });
  await dashboard.row('Order placed').locator('.row-uploaded').waitFor();
  assert.deepEqual((await texts('.row-title')).slice(2, 5), ['Swiped a redacted text', 'Order placed', 'Edited E-mail']);
  await dashboard.row('Order placed').click();
  await dashboard.page.locator('pre.message:visible', { hasText: 'customEvent' }).waitFor(); // where the picture would be
  await dashboard.isAccessible();
  await dashboard.row('a redacted text').click();
  await dashboard.showsEvent('Swiped a redacted text');
  assert.doesNotMatch(await dashboard.page.locator('.hints').textContent(), /equal/, 'nobody knows whether they are');
});

test('status is true: who is live, who left and why, and what to do about it', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  await dashboard.shows('#connection', 'Service connected · no device');
  const start = (name, deviceId) => ScriptedApp.start(dashboard.url, { name, deviceId, accepts: false });
  const [ada, grace] = [await start('Ada’s iPhone', '1'), await start('Grace’s iPad', '2')];
  dashboard.after(() => [ada, grace].forEach((app) => app.close()));
  await dashboard.shows('#connection', '2 devices to pair');
  for (const name of ['Ada', 'Grace']) await dashboard.button(`Pair with ${name}`).click();
  await page.waitForFunction(() => document.querySelectorAll('#stage .code').length === 2);
  assert.deepEqual(await page.locator('#stage .code').allTextContents(), [ada.pairCode, grace.pairCode]);

  await dashboard.button('Cancel the request to Grace').press('Enter');
  await dashboard.shows('#stage .tile', /Grace’s iPad.*Cancelled/s);
  const focused = () => page.evaluate(() => document.activeElement.getAttribute('aria-label'));
  assert.equal(await focused(), 'Pair with Grace’s iPad');
  ada.accept();
  await dashboard.shows('#connection', '1 device live');
  ada.touch({ event: { targetText: 'From Ada' } });
  await dashboard.hasRows(1);
  await dashboard.button('Pair with Grace').press('Enter');
  await dashboard.card('Grace’s iPad').locator('.code').waitFor();
  ada.leave(); // whose card stands below the others then
  await dashboard.card('Ada’s iPhone').filter({ hasText: /Left at/ }).waitFor();
  assert.deepEqual(await page.locator('.device h3').allTextContents(), ['Grace’s iPad', 'Ada’s iPhone']);
  assert.equal(await focused(), 'Cancel the request to Grace’s iPad');
  grace.close(); // as "Reject" does
  await page.locator('.device', { hasText: 'Refused' }).getByText('What to do').click();
  await page.getByText(/^Refused at.*Wake the Event Visualizer/).waitFor();
  await dashboard.isAccessible();

  // One phone that comes and goes is one card.
  const again = await ScriptedApp.start(dashboard.url, { name: 'Ada’s iPhone', deviceId: '3' });
  dashboard.after(() => again.close());
  await dashboard.button('Pair with Ada’s iPhone').click();
  await dashboard.card('Ada’s iPhone').filter({ hasText: 'Live since' }).waitFor();
  again.touch({ event: { targetText: 'Again' } });
  await dashboard.card('Ada’s iPhone').filter({ hasText: /Live · 2 events.*Live since.*1 earlier visit/s }).waitFor();
  await page.getByRole('combobox', { name: 'Device' }).selectOption('Ada’s iPhone');
  await dashboard.hasRows(2);
  again.close();
  await dashboard.card('Ada’s iPhone').filter({ hasText: /Lost at.*open it again/s }).waitFor();
  await dashboard.shows('#connection', 'no device');

  // A service that stands still is not one that is gone: what it was asked is done later.
  await page.evaluate(() => (WebSocket.prototype.send = () => {}));
  await dashboard.shows('#connection', 'Service stands still');
  await dashboard.shows('#outage', /stopped in a debugger/);
  await dashboard.isAccessible();
});

test('what is followed, filtered, searched and selected stands in the address, and survives a reload', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  const app = await dashboard.appThatTouched('One', 'Two');
  app.pageview();
  await dashboard.showsEvent('Opened Linen shirt');
  const follow = dashboard.button('Follow newest');
  await follow.click();
  app.touch({ event: { targetText: 'Three' }, over: { timestamp: '1732180000000' } }); // by a clock that was set back
  await dashboard.hasRows(4);
  await dashboard.showsEvent('Opened Linen shirt');
  assert.equal(await follow.getAttribute('aria-pressed'), 'false');
  await follow.click();
  await dashboard.showsEvent('Tapped Three');
  assert.equal(await follow.getAttribute('aria-pressed'), 'true');
  await page.waitForFunction(() => location.hash === '');
  app.pageview({ pageview: { title: 'Basket' } });
  await dashboard.showsEvent('Opened Basket');
  app.touch({ event: { targetText: 'Four' }, over: { timestamp: '1732190000004' } }); // held back until its action was known
  await dashboard.hasRows(6);
  await dashboard.showsEvent('Opened Basket');

  const { writes, seconds } = await page.evaluate(async () => {
    const begun = performance.now();
    let written = 0;
    navigation.addEventListener('currententrychange', () => (written += 1));
    for (let number = 0; number < 40; number++) {
      document.body.dispatchEvent(new KeyboardEvent('keydown', { key: number % 2 ? 'ArrowUp' : 'ArrowDown', bubbles: true }));
      await new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
    }
    return { writes: written, seconds: (performance.now() - begun) / 1000 };
  });
  assert.ok(writes > 0 && writes < 4 * seconds + 2, `the address was written ${writes} times in ${seconds} s`);
  await dashboard.row('Two').click();
  await dashboard.button('Touch').click();
  await page.getByRole('searchbox').fill('t');
  await dashboard.hasRows(4);
  await page.getByRole('searchbox').fill('two');
  await dashboard.hasRows(1);
  await page.waitForFunction(() => location.hash === '#event=2&kinds=touch&q=two');
  await page.reload();
  await dashboard.hasRows(1);
  await dashboard.showsEvent('Tapped Two');
  await dashboard.shows('.count:visible >> nth=-1', '1 of 6 events');
  await page.getByRole('searchbox').fill('nothing');
  await dashboard.button('Show all events').click();
  await dashboard.hasRows(6);
  await page.waitForFunction(() => location.hash === '#event=2');
  await page.goto(`${dashboard.url}/visualizer/#event=77`);
  await dashboard.shows('#notices', 'Event 77 was cleared from this page, or is none of the last 500.');
});

test('a clear empties this page alone, and has an undo of its own', async (t) => {
  const before = () => {
    const { setTimeout: start } = globalThis;
    globalThis.afterTenSeconds = []; // runs when the test says so, however slow the machine is
    globalThis.setTimeout = (act, ms, ...rest) => (ms === 10_000 ? void afterTenSeconds.push(act) : start(act, ms, ...rest));
  };
  const dashboard = await Dashboard.open(t, browser, { before });
  const { page } = dashboard;
  const app = await dashboard.appThatTouched('One');
  const other = await dashboard.pageIn(t, browser, { width: 1280, height: 800 });
  await dashboard.button('Clear').click();
  await dashboard.hasRows(0);
  await page.reload();
  await dashboard.shows('.no-match', 'Cleared. New events appear here.');
  await dashboard.isAccessible();
  for (const targetText of ['Two', 'Three']) {
    app.touch({ event: { targetText } });
    await dashboard.hasRows(1);
    await dashboard.button('Clear').click();
    await dashboard.hasRows(0);
  }
  await other.locator('.row').nth(2).waitFor();
  await dashboard.button('Undo').last().click(); // of the last clear alone
  await dashboard.tells('Linen shirt:', 'Tapped Three');
  await dashboard.button('Undo').click();
  await dashboard.tells('Linen shirt:', 'Tapped Three', 'Linen shirt:', 'Tapped Two');
  await dashboard.button('Clear').click();
  await dashboard.button('Undo').waitFor();
  await page.evaluate(() => afterTenSeconds.forEach((act) => act()));
  assert.equal(await dashboard.button('Undo').count(), 0);
  await dashboard.hasRows(0);
});

test('50 events a second: the last 500 are listed, rows are used again, and what is read stays in its place', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  const app = await dashboard.pairedApp();
  const touch = (number) => app.touch({ event: { targetText: `Tap ${number}` }, pageview: { id: String(Math.floor(number / 40)) }, ...NO_PICTURES });
  for (let number = 1; number <= 450; number++) touch(number);
  await dashboard.showsEvent('Tapped Tap 450');
  const read = dashboard.row('Tap 445');
  await read.click();
  await dashboard.showsEvent('Tapped Tap 445');
  await dashboard.shows('.matches', 'Matches 450');
  const { y } = await read.boundingBox();
  await page.evaluate(() => {
    globalThis.added = 0;
    const rowsIn = (node) => (node.matches?.('.row') ? 1 : (node.querySelectorAll?.('.row').length ?? 0));
    const note = (changes) => changes.forEach(({ addedNodes }) => addedNodes.forEach((node) => (added += rowsIn(node))));
    new MutationObserver(note).observe(document.querySelector('.rows'), { childList: true, subtree: true });
  });
  await new Promise((resolve) => {
    let last = 450;
    const timer = setInterval(() => {
      touch(++last);
      if (last === 600) resolve(clearInterval(timer));
    }, 20);
  });
  await dashboard.shows('.newer', '150 new events');
  assert.equal((await read.boundingBox()).y, y);
  await dashboard.showsEvent('Tapped Tap 445');
  await dashboard.hasRows(500);
  assert.equal(await page.evaluate(() => added), 150, 'each event adds its own row and moves no other');
  const onTop = await page.locator('.rows').evaluate((rows) => document.elementFromPoint(200, rows.getBoundingClientRect().top + 8).className);
  assert.match(onTop, /scene/, 'the head of a screen stays in sight');
  await page.locator('.newer').press('Enter');
  await page.locator('.rows:focus').waitFor();
  await dashboard.showsEvent('Tapped Tap 600');
});

test('a lost connection is said with what to do, and mends itself', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  await dashboard.appThatTouched('Add to basket');
  await dashboard.stopService();
  await dashboard.shows('#connection', 'Service not connected');
  await dashboard.shows('#outage', `--visualizer --port ${new URL(dashboard.url).port} --env-id 11`);
  await dashboard.button(/^Disconnect/).click();
  await dashboard.shows('#notices', 'The service is not connected');

  // The new service counts its events anew: the first one is not the one that is shown.
  await dashboard.startService();
  await dashboard.shows('#stage h2', 'Connect your app');
  assert.equal(await dashboard.page.locator('#outage').isVisible(), false);
  await dashboard.appThatTouched('Pay');
});

test('the keyboard alone, on a narrow screen, and in forced colours', async (t) => {
  const dashboard = await Dashboard.open(t, browser, { width: 900, height: 640 });
  const { page } = dashboard;
  await dashboard.appThatTouched('One', 'Two', 'Three');
  const press = (...keys) => keys.reduce((done, key) => done.then(() => page.keyboard.press(key)), Promise.resolve());
  await page.locator('body').click({ position: { x: 450, y: 10 } });
  await press('ArrowDown');
  await dashboard.showsEvent('Tapped Two');
  await press('End');
  await dashboard.showsEvent('Tapped One');
  await press('Escape');
  await dashboard.showsEvent('Tapped Three');
  await press('/');
  await page.keyboard.type('tHr');
  await dashboard.hasRows(1);
  await press('Escape', 'Escape');
  await dashboard.hasRows(3);
  await page.locator('.rows:focus').waitFor();
  const ring = await page.evaluate(() => getComputedStyle(document.querySelector('.rows-frame'), '::after').borderTopStyle);
  assert.equal(ring, 'solid');
  await press('ArrowDown');
  await dashboard.showsEvent('Tapped Two');
  await page.locator('.node[tabindex="0"]').press('ArrowUp');
  await dashboard.shows('.node:focus', 'Column');
  await dashboard.outlines('.pointed', { x: 0, y: 96, width: 390, height: 748 });

  // One pane at a time: the event is a page of its own, and the way back leads to the list.
  await page.setViewportSize({ width: 390, height: 700 });
  await page.locator('.rows').focus();
  await press('Enter');
  await page.locator('#back:focus').waitFor();
  assert.equal(await page.locator('#timeline').isVisible(), false);
  await dashboard.outlines('.target', buttonBox);
  await page.goBack();
  await page.locator('.rows:focus').waitFor();
  assert.equal(await page.locator('#detail').isVisible(), false);
  await page.goto(`${dashboard.url}/visualizer/received.html`); // away
  await page.goto(`${dashboard.url}/visualizer/#event=1`);
  await dashboard.shows('#detail h2', 'Tapped One');
  await page.locator('#back').click();
  await page.locator('#timeline').waitFor();

  await page.emulateMedia({ forcedColors: 'active' });
  const looks = (selector) => page.locator(selector).first().evaluate((node) => getComputedStyle(node).outlineStyle);
  const lines = ['.row[aria-selected="true"]', '.row[aria-selected="false"]', '.target', '.bar [aria-current]'].map(looks);
  assert.deepEqual(await Promise.all(lines), ['solid', 'none', 'solid', 'solid']);
});
