// Takes pictures of both pages in each state, at each size, in light and in dark, in wide and in narrow fonts, into PICTURES:
// for people to look at. `script/pictures FOLDER` runs it.

import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { pageviewUrl } from '../capture-service/support.mjs';
import { ScriptedApp } from '../support/scripted-app.mjs';
import { startStorefront } from './storefront.mjs';
import { Dashboard, launchBrowser } from './support.mjs';

const FONTS = ['wide', 'narrow'];
const SIZES = [[1280, 720], [1440, 900], [1920, 1080], [390, 844]];
const folder = process.env.PICTURES;

async function takeAll(page, name) {
  for (const [width, height] of SIZES) {
    await page.setViewportSize({ width, height });
    for (const colorScheme of ['light', 'dark']) {
      await page.emulateMedia({ colorScheme, reducedMotion: 'reduce' });
      await page.screenshot({ path: path.join(folder, `${name}-${width}-${colorScheme}.png`) });
    }
  }
  await page.setViewportSize({ width: 1280, height: 720 });
}

test('pictures', async (t) => {
  fs.mkdirSync(folder, { recursive: true });
  const browsers = await Promise.all(FONTS.map(launchBrowser));
  t.after(() => Promise.all(browsers.map((browser) => browser.close())));
  const plan = { 'Order placed': { total: 'string', items: 'string', gift: 'bool' } };
  const dashboard = await Dashboard.open(t, browsers[0], { plan });
  const pages = [dashboard.page, await dashboard.pageIn(t, browsers[1])];
  const received = await Promise.all(browsers.map((browser) => dashboard.pageIn(t, browser, undefined, { path: '/received/' })));
  const inEach = (act, some = pages) => Promise.all(some.map(act));
  const take = (name, some) => inEach((page, index) => takeAll(page, `${name}-${FONTS[index]}`), some);
  const select = (text) =>
    inEach(async (page) => {
      await page.locator('.row', { hasText: text }).last().click();
      await page.locator('#detail h2', { hasText: text }).waitFor();
    });

  await take('start');
  await take('received-nothing', received);
  const grace = await ScriptedApp.start(dashboard.url, { name: 'Grace’s iPad', deviceId: '2', accepts: false });
  await dashboard.button('Pair with Grace').click();
  await inEach((page) => page.locator('#stage .code').waitFor());
  await take('asked');
  grace.close();
  await inEach((page) => page.locator('.farewell').waitFor());
  const app = startStorefront(dashboard);
  await dashboard.page.locator('#stage').getByRole('button', { name: /^Pair with/ }).click({ timeout: 60_000 });
  await app.ended;
  await fetch(dashboard.url + pageviewUrl.replace('&z=2', '&z=7')); // refused
  await dashboard.hasRows(20);
  await inEach((page) => page.locator('.row-uploaded:visible').first().waitFor());
  await take('newest');
  await inEach((page) => page.getByRole('button', { name: 'Connect a device' }).click());
  await take('connect');
  await inEach((page) => page.keyboard.press('Escape'));
  await select('Order placed');
  await take('uploaded');
  await select('Add to basket');
  await take('tap');
  await inEach((page) => page.locator('.screen-frame').click());
  await take('large');
  await inEach((page) => page.keyboard.press('Escape'));
  await inEach(async (page) => {
    await page.setViewportSize({ width: 390, height: 844 });
    await page.locator('.rows').press('Enter');
    await page.locator('#back').waitFor();
  });
  await take('opened');
  await inEach((page) => page.goBack());
  await inEach((page) => page.getByRole('searchbox').fill('nowhere'));
  await take('no-match');

  await inEach((page) => page.locator('#refused .fault').waitFor(), received);
  await take('received', received);
  await inEach((page) => page.locator('.session[open] .record summary').nth(3).click(), received);
  await inEach((page) => page.locator('.session[open] .record').nth(3).evaluate((record) => record.scrollIntoView({ block: 'center' })), received);
  await take('received-open', received);
  await dashboard.stopService();
  await inEach((page) => page.locator('#outage').waitFor(), [...pages, ...received]);
  await take('outage');
  await take('received-outage', received);
});
