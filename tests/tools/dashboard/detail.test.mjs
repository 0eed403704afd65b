// What the live page says of one event, and what it makes of what an app sends.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import { after, before, test } from 'node:test';
import { ancestry } from '../support/scripted-app.mjs';
import { Dashboard, launchBrowser } from './support.mjs';

let browser;
before(async () => {
  browser = await launchBrowser();
});
after(() => browser?.close());

test('what an event is known by: definition, matches, hints; and the session as a file', async (t) => {
  const dashboard = await Dashboard.open(t, browser);
  const { page } = dashboard;
  const app = await dashboard.appThatTouched('<b>One</b>', 'Two');
  app.pageview({ pageview: { viewController: 'OtherController' } });
  await dashboard.row('Two').click();
  await dashboard.shows('.matches', 'Matches 2 of the last 3 events');
  assert.equal(await page.locator('.row-match:visible').count(), 2);
  await dashboard.button('Copy as definition').click();
  await dashboard.shows('#announcer', 'Copied');
  const copied = JSON.parse(await page.evaluate(() => navigator.clipboard.readText()));
  assert.deepEqual(copied, { classPath: ancestry.map((node) => node.class), identifier: null, label: 'Add to basket' });
  await page.route('**/matches.json*', (route) => route.fulfill({ status: 404 })); // as when 500 others have come
  app.touch({ event: { targetSelector: undefined, targetText: 'Buy', targetA11yLabel: 'Buy' } });
  await dashboard.shows('.matches', 'Matched 2 of the last 3 events when they were counted last');
  assert.equal(await page.locator('.definition [aria-disabled]').count(), 0, 'the definition is still known');
  await page.unroute('**/matches.json*');
  await dashboard.row('Buy').click();
  await dashboard.shows('.matches', 'Matches 3 of the last 4 events');
  const hints = ['No identifier', 'Label and text are equal', 'A control without a selector', 'No instance variable of ProductController holds', '“Linen shirt” is the title of'];
  await dashboard.shows('#detail h2', 'Tapped Buy');
  assert.deepEqual((await page.locator('.hints li').allTextContents()).map((text, index) => text.startsWith(hints[index])), hints.map(() => true));

  const exported = async (name) => {
    await page.locator('summary', { hasText: 'Export' }).click();
    const [download] = await Promise.all([page.waitForEvent('download'), dashboard.button(name).click()]);
    return [download.suggestedFilename(), fs.readFileSync(await download.path(), 'utf8')];
  };
  const [linesName, lines] = await exported('Session as JSON lines');
  const messages = lines.trim().split('\n').map((line) => JSON.parse(line));
  assert.deepEqual([linesName, messages.length, messages[0].summary.text], ['session-0000000000000042.jsonl', 4, '<b>One</b>']);
  const [pageName, html] = await exported('Session as a page');
  assert.equal(pageName, 'session-0000000000000042.html');
  const saved = await page.context().newPage();
  await saved.setContent(html);
  const pictures = await saved.evaluate(() => [...document.images].map((image) => [image.src.slice(0, 15), image.naturalWidth]));
  assert.deepEqual(pictures, Array(4).fill(['data:image/png;', 390]));
  assert.match(await saved.locator('figure div').first().getAttribute('style'), /left: 6\.15.*width: 87\.69/);
  assert.equal(await saved.locator('h2').first().textContent(), 'Tapped <b>One</b>');
});

test('whatever an app sends is text, and a browser that keeps nothing shows it all the same', async (t) => {
  const before = () => {
    const get = () => {
      throw new DOMException('Access is denied', 'SecurityError');
    };
    for (const storage of ['localStorage', 'sessionStorage']) Object.defineProperty(globalThis, storage, { get });
  };
  const dashboard = await Dashboard.open(t, browser, { envId: null, before });
  const { page } = dashboard;
  await page.locator('#stage input').fill('4x');
  await dashboard.shows('#stage .wrong', 'An environment id has digits only.');
  await page.locator('#stage input').fill('42');
  await dashboard.shows('#stage .deep-link', 'kova-42://1/launch-ev');
  // The mark betrays markup even where the page's policy would keep the script from running.
  const evil = (where) => `<b data-evil>${where}</b><img src=x onerror="evil=1"><script>evil=1</script>\u202e`;
  const shown = (where) => evil(where).replace('\u202e', '\ufffd');
  const app = await dashboard.pairedApp({ name: evil('name') });
  const box = { upperLeftOrigin: { x: -1e9, y: 1e9 }, size: { width: 1e12, height: 0 } };
  app.touch({
    event: { targetText: evil('text'), targetSelector: evil('selector'), [evil('key')]: 1 },
    pageview: { title: evil('title'), viewController: evil('controller'), [evil('added')]: evil('value') },
    over: { user: { id: evil('user') }, sessionInfo: { id: evil('session') } },
    view_ancestry: {
      ancestry: [
        { class: evil('class'), accessibilityLabel: evil('label'), [evil('more')]: evil('more') },
        null,
        { class: { deep: [evil('class')] }, boundingBox: { upperLeftOrigin: { x: '0', y: [] }, size: 'none' } },
        { class: evil('last'), accessibilityIdentifier: evil('identifier'), boundingBox: box },
      ],
    },
  });
  await dashboard.showsEvent(shown('text'));
  await page.locator('.node').first().click();
  await dashboard.shows('.node-facts', evil('more'));
  await dashboard.shows('.matches', 'Matches 1 of');
  await page.getByText('Message', { exact: true }).click();
  const places = { '.device h3': shown('name'), '.row-under': shown('selector'), '.scene-head bdi': shown('title'), '.session': shown('user') };
  Object.assign(places, { '.hints': shown('controller'), '#detail .about': evil('added'), 'pre.message': JSON.stringify(evil('key')) });
  for (const [selector, wanted] of Object.entries(places))
    assert.ok((await page.locator(selector).textContent()).includes(wanted), selector);
  const marks = 'data-evil], img[src="x"], script:not([src]';
  assert.deepEqual(await page.evaluate((all) => [document.querySelectorAll(`[${all})`).length, globalThis.evil], marks), [0, undefined]);
  for (const targetText of ['Odd', 'After it']) {
    app.touch({ event: { targetText, targetSelector: '', targetView: { toString: 1 } } });
    await dashboard.row(targetText).click();
    await dashboard.showsEvent(targetText);
  }
});
