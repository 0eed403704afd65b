import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ScriptedApp, ancestry, buttonBox } from '../support/scripted-app.mjs';
import { Dashboard, launchBrowser } from './support.mjs';

let browser;
before(async () => {
  browser = await launchBrowser();
});
after(() => browser?.close());

test('from an empty page over the pair code to a tap with its picture, box, ancestry and message', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  await dashboard.shows('#stage .deep-link', /^kova-11:\/\/1\/launch-ev$/);
  await page.waitForFunction(() => document.querySelector('#stage .qr').naturalWidth > 0);

  const app = await ScriptedApp.start(dashboard.url, { accepts: false });
  t.after(() => app.close());
  await page.locator('#stage').getByRole('button', { name: 'Pair with Ada’s iPhone' }).click();
  const code = page.locator('#stage .code');
  await code.waitFor();
  assert.match(app.pairCode, /^\d{4}$/);
  assert.equal(await code.textContent(), app.pairCode);
  assert.ok((await code.boundingBox()).height > 80);
  app.accept();
  await dashboard.shows('#stage h2', 'Paired with Ada’s iPhone');

  app.touch();
  await dashboard.showsEvent('Add to basket');
  await dashboard.shows('.row .row-selector', 'addToBasket');
  await dashboard.shows('.row .row-screen', 'Linen shirt');
  await dashboard.outlines('.outline.target', buttonBox);
  const sizes = await page
    .locator('#detail img')
    .evaluateAll((all) => all.map((image) => [image.naturalWidth, image.naturalHeight]));
  assert.deepEqual(sizes, [
    [390, 844],
    [buttonBox.width, buttonBox.height],
  ]);

  assert.deepEqual(
    await page.locator('.node-class').allTextContents(),
    ancestry.map((node) => node.class),
  );
  await page.locator('.node', { hasText: 'Column' }).hover();
  await dashboard.outlines('.outline.pointed', { x: 0, y: 96, width: 390, height: 748 });
  await page.locator('.node', { hasText: 'ProductController' }).click();
  await dashboard.shows('.node-facts', /productId\s*shirt-01/);

  await page.getByRole('tab', { name: 'Message' }).click();
  const message = JSON.parse(await page.locator('pre.message').textContent());
  assert.equal(message.event.touchEvent.targetSelector, 'addToBasket');
  await page.getByRole('button', { name: 'Copy message' }).click();
  await page.getByRole('button', { name: 'Copied' }).waitFor();
  assert.deepEqual(JSON.parse(await page.evaluate(() => navigator.clipboard.readText())), message);
});

test('a browser that keeps nothing for the page shows it all the same', async (t) => {
  const before = () =>
    Object.defineProperty(globalThis, 'localStorage', {
      get() {
        throw new DOMException('Access is denied', 'SecurityError');
      },
    });
  const dashboard = await Dashboard.open(t, browser, { envId: null, before });
  await dashboard.page.locator('#stage input').fill('42');
  await dashboard.shows('#stage .deep-link', 'kova-42://1/launch-ev');
});

test('a reload loses nothing, and what is cleared is gone', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const app = await dashboard.pairedApp();
  t.after(() => app.close());
  app.touch();
  app.pageview();
  await dashboard.showsEvent('Linen shirt');
  await dashboard.page.reload();
  await dashboard.hasRows(2);
  await dashboard.showsEvent('Linen shirt');
  await dashboard
    .card('Ada’s iPhone')
    .filter({ hasText: /Paired since.*2 events/ })
    .waitFor();
});

test('two devices: a code each, their events told apart, and each leaves alone', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  const apps = await Promise.all(
    ['Ada’s iPhone', 'Grace’s iPad'].map((name, index) =>
      ScriptedApp.start(dashboard.url, { name, deviceId: String(index + 1), accepts: false }),
    ),
  );
  t.after(() => apps.forEach((app) => app.close()));
  const [ada, grace] = apps;
  for (const name of ['Ada’s iPhone', 'Grace’s iPad'])
    await dashboard.card(name).getByRole('button', { name: /^Pair/ }).click();
  await page.waitForFunction(() => document.querySelectorAll('#stage .code').length === 2);
  assert.deepEqual(await page.locator('#stage .code').allTextContents(), [ada.pairCode, grace.pairCode]);
  assert.notEqual(ada.pairCode, grace.pairCode);

  grace.accept();
  await dashboard.card('Grace’s iPad').filter({ hasText: 'Paired' }).waitFor();
  assert.match(await dashboard.card('Ada’s iPhone').innerText(), new RegExp(ada.pairCode));
  ada.accept();
  await dashboard.card('Ada’s iPhone').filter({ hasText: 'Paired' }).waitFor();
  ada.touch({ event: { targetText: 'From Ada' } });
  grace.touch({ event: { targetText: 'From Grace' } });
  await dashboard.hasRows(2);
  await page.getByRole('combobox', { name: 'Device' }).selectOption('Ada’s iPhone');
  await dashboard.hasRows(1);
  await dashboard.showsEvent('From Ada');

  await dashboard
    .card('Grace’s iPad')
    .getByRole('button', { name: /^Disconnect/ })
    .click();
  await dashboard.card('Grace’s iPad').filter({ hasText: 'Left at' }).waitFor();
  assert.equal(await dashboard.card('Ada’s iPhone').getAttribute('data-state'), 'paired');
});

test('whatever an app sends is text', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  // The mark betrays markup even where the page's policy would keep the script from running.
  const evil = (where) => `<b data-evil>${where}</b><img src=x onerror="evil=1"><script>evil=1</script>\u202e`;
  const shown = (where) => evil(where).replace('\u202e', '\ufffd');
  const app = await dashboard.pairedApp({ name: evil('name') }, shown('name'));
  t.after(() => app.close());
  app.touch({
    event: { targetText: evil('text'), targetSelector: evil('selector'), [evil('key')]: 1 },
    pageview: { title: evil('title'), [evil('added')]: evil('value') },
    view_ancestry: {
      ancestry: [
        { class: evil('class'), accessibilityLabel: evil('label'), [evil('more')]: evil('more') },
        null,
        { class: { deep: [evil('class')] }, boundingBox: { upperLeftOrigin: { x: '0', y: [] }, size: 'none' } },
        {
          class: evil('last'),
          accessibilityIdentifier: evil('identifier'),
          boundingBox: { upperLeftOrigin: { x: -1e9, y: 1e9 }, size: { width: 1e12, height: 0 } },
        },
      ],
    },
  });
  await dashboard.showsEvent(shown('text'));
  await page.locator('.node').first().click();
  await dashboard.shows('.node-facts', evil('more'));
  await page.getByRole('tab', { name: 'Message' }).click();
  for (const [selector, wanted] of [
    ['.device h3', shown('name')],
    ['.row-selector', shown('selector')],
    ['.row-screen', shown('title')],
    ['#detail .about', evil('added')],
    ['pre.message', JSON.stringify(evil('key'))],
  ]) {
    assert.ok((await page.locator(selector).textContent()).includes(wanted), selector);
  }
  assert.equal(
    await page.evaluate(() => document.querySelectorAll('[data-evil], img[src="x"], script:not([src])').length),
    0,
  );
  assert.equal(await page.evaluate(() => globalThis.evil), undefined);
});

test('50 events a second: the last 500 are listed, rows are used again, and what is read stays in its place', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  const app = await dashboard.pairedApp();
  t.after(() => app.close());
  const picture = { full_image_data: undefined, image_data: undefined };
  const touch = (number) => app.touch({ event: { targetText: `Tap ${number}` }, ...picture });
  for (let number = 1; number <= 450; number++) touch(number);
  await dashboard.showsEvent('Tap 450');

  const read = page.locator('.row', { hasText: 'Tap 445' });
  await read.click();
  await dashboard.showsEvent('Tap 445');
  const { y } = await read.boundingBox();
  await page.evaluate(() => {
    globalThis.seen = { rows: 0, longestFrame: 0 };
    new MutationObserver((changes) => changes.forEach(({ addedNodes }) => (seen.rows += addedNodes.length))).observe(
      document.querySelector('.rows'),
      { childList: true },
    );
    let last = performance.now();
    const frame = (now) => {
      seen.longestFrame = Math.max(seen.longestFrame, now - last);
      last = now;
      requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  });
  await new Promise((resolve) => {
    let number = 450;
    const timer = setInterval(() => {
      touch(++number);
      if (number < 600) return;
      clearInterval(timer);
      resolve();
    }, 20);
  });

  await dashboard.shows('.newer', '150 new events');
  assert.equal((await read.boundingBox()).y, y);
  await dashboard.showsEvent('Tap 445');
  await dashboard.hasRows(500);
  const { rows, longestFrame } = await page.evaluate(() => seen);
  assert.equal(rows, 150, 'each event adds its own row and moves no other');
  assert.ok(longestFrame < 1000, `the page stood still for ${longestFrame} ms`);
  t.diagnostic(`longest frame: ${Math.round(longestFrame)} ms`);

  await page.locator('.newer').click();
  await dashboard.showsEvent('Tap 600');
  assert.equal(await page.locator('.row-title').last().textContent(), 'Tap 101');
});

test('a lost connection is said with what to do, and mends itself', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  (await dashboard.pairedApp()).touch();
  await dashboard.showsEvent('Add to basket');

  await dashboard.stopService();
  await dashboard.shows('#connection', 'Not connected');
  await dashboard.shows('#outage', `--visualizer --port ${new URL(dashboard.url).port} --env-id 11`);
  await page.getByRole('button', { name: /^Disconnect/ }).click();
  await dashboard.shows('#notices', 'The service did not answer');
  await dashboard.hasRows(1);

  // The new service counts its events anew: the first one is not the one that is shown.
  await dashboard.startService();
  await dashboard.shows('#connection', 'Live');
  await dashboard.shows('#stage h2', 'Connect your app');
  assert.equal(await page.locator('#outage').isVisible(), false);
  const app = await dashboard.pairedApp();
  t.after(() => app.close());
  app.touch({ event: { targetText: 'Pay' } });
  await dashboard.showsEvent('Pay');
});

test('the keyboard alone: move, follow, search, filter, and walk the ancestry', async (t) => {
  const dashboard = await Dashboard.open(t, browser, { width: 900, height: 640 });
  const { page } = dashboard;
  const app = await dashboard.pairedApp();
  t.after(() => app.close());
  for (const name of ['One', 'Two', 'Three']) app.touch({ event: { targetText: name } });
  app.pageview();
  await dashboard.showsEvent('Linen shirt');
  await page.locator('body').click({ position: { x: 450, y: 10 } });

  await page.keyboard.press('ArrowDown');
  await dashboard.showsEvent('Three');
  await page.keyboard.press('End');
  await dashboard.showsEvent('One');
  app.touch({ event: { targetText: 'Four' } });
  await dashboard.hasRows(5);
  await dashboard.showsEvent('One');
  await page.keyboard.press('Escape');
  await dashboard.showsEvent('Four');

  await page.keyboard.press('/');
  await page.keyboard.type('tHr');
  await dashboard.hasRows(1);
  await dashboard.showsEvent('Three');
  await page.keyboard.press('Escape');
  await dashboard.hasRows(5);
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate(() => document.activeElement.getAttribute('role')), 'listbox');
  assert.equal(await page.locator('.rows').evaluate((rows) => getComputedStyle(rows).outlineStyle), 'solid');

  await page.getByRole('button', { name: 'Screen' }).focus();
  await page.keyboard.press('Enter');
  await dashboard.hasRows(1);
  await page.keyboard.press('Enter');
  await dashboard.showsEvent('Four');

  await page.locator('.node[tabindex="0"]').focus();
  await page.keyboard.press('ArrowUp');
  await dashboard.shows('.node:focus', 'Column');
  await dashboard.outlines('.outline.pointed', { x: 0, y: 96, width: 390, height: 748 });
});
