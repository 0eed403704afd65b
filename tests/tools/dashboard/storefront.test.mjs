// The whole road: the example app with the library in it, the service, and a browser in which somebody pairs with it.
// With PICTURES, a folder, the pictures of the documents are taken on the way.

import assert from 'node:assert/strict';
import path from 'node:path';
import { test } from 'node:test';
import { pageviewUrl } from '../capture-service/support.mjs';
import { startStorefront } from './storefront.mjs';
import { Dashboard, launchBrowser } from './support.mjs';

const plan = { 'Order placed': { total: 'string', items: 'string', gift: 'bool' } };

async function takePicture(page, name) {
  if (process.env.PICTURES) await page.screenshot({ path: path.join(process.env.PICTURES, name) });
}

/** With something that is refused in it. */
async function takeReceived(t, browser, dashboard) {
  if (!process.env.PICTURES) return;
  await fetch(dashboard.url + pageviewUrl.replace('&z=2', '&z=7'));
  const page = await dashboard.pageIn(t, browser, { width: 1280, height: 720 }, { path: '/received/' });
  await page.locator('#refused .fault').waitFor();
  await takePicture(page, 'received.png');
}

test('the example app is paired in the browser, used by its scripted user, and seen', async (t) => {
  const browser = await launchBrowser();
  t.after(() => browser.close());
  const dashboard = await Dashboard.open(t, browser, { width: 1440, height: 900, plan });
  const { page } = dashboard;

  // Nobody is there at first: the app tries again after the interval that it has in earnest.
  await dashboard.stopService();
  const app = startStorefront(dashboard);
  await app.tells('dashboard Handshake Failed With Error');
  await dashboard.startService();

  await page.locator('#stage').getByRole('button', { name: /^Pair with/ }).click();
  await page.locator('#stage .code').waitFor(); // the scripted user accepts
  await dashboard.row('addToBasket').click({ timeout: 60_000 });
  await dashboard.showsEvent('Tapped Add to basket');
  const { width } = await page.locator('.screen-frame .target').boundingBox();
  assert.ok(width > 100);
  assert.deepEqual((await page.locator('.node-class').allTextContents()).slice(-2), ['Column', 'UIButton']);
  await dashboard.row('Opened Basket').waitFor();
  await dashboard.shows('.matches', 'Matches 1 of');
  await takePicture(page, 'dashboard.png');

  const [code] = await app.ended;
  assert.equal(code, 0, app.told());
  await dashboard.showsEvent('Tapped Add to basket'); // whoever looks at an event keeps it before his eyes
  await page.locator('.row-uploaded:visible').waitFor(); // the custom event
  await takeReceived(t, browser, dashboard);
  await dashboard.hasRows(20);
  const all = await page.locator('.row-title').allTextContents();
  assert.ok(!all.some((title) => /4111|Analytical|Accept/.test(title)), all.join('\n'));
});
