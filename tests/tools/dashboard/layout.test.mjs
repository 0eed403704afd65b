// No pane's content leaves its pane, at any width of window, in the widest and the narrowest of the usual fonts.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { batchBody, events, message, pageviewUrl, trackPath } from '../capture-service/support.mjs';
import { png } from '../support/png.mjs';
import { ScriptedApp, buttonBox } from '../support/scripted-app.mjs';
import { Dashboard, NO_PICTURES, launchBrowser } from './support.mjs';

const SETS = ['wide', 'narrow'];
const FONTS = ['DejaVu Sans', 'Liberation Sans Narrow']; // theirs
const WIDTHS = [
  [360, 390, 412, 480, 560, 640, 720, 759, 760, 768, 800, 900, 960, 1023, 1024, 1100, 1180, 1280, 1366],
  [1424, 1440, 1500, 1600, 1680, 1920],
];
const ZOOMED = [[640, 360], [720, 450], [960, 540]].map(([width, height]) => ({ width, height })); // to 200 %
const TALL = [[1024, 1366], [1200, 1600]].map(([width, height]) => ({ width, height }));
const SIZES = [...WIDTHS.flatMap((widths, large) => widths.map((width) => ({ width, height: large ? 900 : 720 }))), ...ZOOMED, ...TALL];
const OF_ONE_COLUMN = [[360, 720], [412, 900], [768, 900], [1280, 720], [1920, 900]].map(([width, height]) => ({ width, height }));
const LONG_NAME = 'The longest name that anybody ever gave to a telephone';

let browsers = [];
before(async () => {
  browsers = await Promise.all(SETS.map(launchBrowser));
});
after(() => Promise.all(browsers.map((browser) => browser.close())));

/** What lies outside its pane, or touches a control beside it, in words. Runs in the page. */
function faults() {
  const PANES = '.bar, #outage, #devices, .device, #stage, .tile, .connect-card, #story, #timeline, .toolbar, .foot, .screen, .about, .column, #refused, .session, .record';
  const found = [];

  const nameOf = (node) => node.id || node.className || node.textContent.slice(0, 30);
  const hasText = (node) => [...node.childNodes].some((child) => child.nodeType === Node.TEXT_NODE);
  const textOf = (node) => {
    const range = document.createRange();
    range.selectNodeContents(node);
    return range;
  };
  const noteTouch = (one, other) => {
    const apart = (first, second) => second.left - first.right >= 4 || second.top - first.bottom >= 4;
    if (!apart(one.extent, other.extent) && !apart(other.extent, one.extent))
      found.push(`${one.name} touches ${other.name}`);
  };
  /** Down to what cuts or scrolls its own content, which may then be of any size. */
  const look = (node, pane, controls) => {
    if (!node.checkVisibility() || node.matches('svg, .visually-hidden')) return;
    const name = nameOf(node);
    const isPane = node.matches(PANES);
    const isControl = node.matches('button, input, select');
    const { overflowX, overflowY } = getComputedStyle(node);
    const isWhole = isPane || isControl || overflowX !== 'visible';
    const extent = (!isWhole && hasText(node) ? textOf(node) : node).getBoundingClientRect();
    if (node.matches('.cut') && node.scrollWidth > node.clientWidth && !node.title) found.push(`${name} is cut, and has no tooltip`);
    const by = Math.max(pane.left - extent.left, extent.right - pane.right, extent.bottom - pane.bottom);
    if (by > 0.5) found.push(`${name} leaves ${pane.name} by ${Math.ceil(by)}`);
    if (isControl) {
      for (const other of controls) noteTouch({ name, extent }, other);
      controls.push({ name, extent });
    }
    if (isWhole && !isPane) return;
    const { left, right } = extent;
    const inside = isPane ? { name, left, right, bottom: overflowY === 'visible' ? extent.bottom : Infinity } : pane;
    for (const child of node.children) look(child, inside, isPane ? [] : controls);
  };
  for (const fact of document.querySelectorAll('.facts > div')) {
    const [name, value] = fact.children;
    if (value.clientWidth < fact.clientWidth / 2) found.push(`${name.textContent} leaves its value little room`);
  }
  const page = { name: 'the window', left: 0, right: innerWidth, bottom: Infinity };
  const parts = ['.screen-frame img', '#detail', '.about'].map((one) => document.querySelector(one)?.getBoundingClientRect());
  const [picture, detail, about] = parts;
  const hasRoom = picture && picture.height < detail.height - 80 && about.width > 301;
  if (innerWidth >= 1024 && hasRoom) found.push(`the picture is ${picture.height} high, with room for more`);
  const listed = document.querySelector('#main[data-view="events"]:not([data-opened])');
  for (const one of ['.follow', '#connect button'])
    if (listed && !document.querySelector(one).checkVisibility()) found.push(`${one} is out of reach`);
  const list = listed && document.querySelector('.rows').clientHeight;
  if (list && innerWidth >= 1024 && innerHeight >= 720 && list < 0.6 * innerHeight) found.push(`the list is ${list} high`);
  for (const top of document.querySelectorAll('.bar, #outage, #devices, #main > *')) look(top, page, []);
  return found;
}

async function fontOfTheTitle(page) {
  const tools = await page.context().newCDPSession(page);
  await tools.send('DOM.enable');
  await tools.send('CSS.enable');
  const { root } = await tools.send('DOM.getDocument');
  const { nodeId } = await tools.send('DOM.querySelector', { nodeId: root.nodeId, selector: 'h1' });
  const { fonts } = await tools.send('CSS.getPlatformFontsForNode', { nodeId });
  return fonts.map(({ familyName }) => familyName).join();
}

/** Rows out of sight, which their list cuts off anyway, are the most of the work at each size. Runs in the page. */
function hideMostRows() {
  const sheet = new CSSStyleSheet();
  sheet.replaceSync('.row:nth-child(n + 20) { display: none }');
  document.adoptedStyleSheets.push(sheet);
}

test('no pane’s content leaves its pane, from 360 to 1920 pixels, in wide and in narrow fonts', async (t) => {
  const dashboard = await Dashboard.open(t, browsers[0]);
  const pages = [dashboard.page, await dashboard.pageIn(t, browsers[1])];
  const inEach = (act) => Promise.all(pages.map(act));
  const show = (selector, hasText) => inEach((page) => page.locator(selector, { hasText }).waitFor());
  const holds = async (state, sizes = SIZES, shown = pages) => {
    const wrong = {};
    const look = async (page, index) => {
      for (const size of sizes) {
        await page.setViewportSize(size);
        const found = await page.evaluate(faults);
        if (found.length > 0) wrong[`${FONTS[index]}, ${size.width} x ${size.height}`] = found;
      }
    };
    await Promise.all(shown.map(look));
    assert.deepEqual(wrong, {}, state);
  };

  assert.deepEqual(await inEach(fontOfTheTitle), FONTS);
  await inEach((page) => page.evaluate(hideMostRows));
  await holds('no device');

  const other = await ScriptedApp.start(dashboard.url, { name: LONG_NAME, deviceId: '2', accepts: false });
  dashboard.after(() => other.close());
  await dashboard.button(`Pair with ${LONG_NAME}`).click();
  await show('#stage .code');
  await holds('a device that was asked');
  other.accept();
  await show('#stage h2', 'Paired with');
  await holds('a device that is paired');

  const ada = await ScriptedApp.start(dashboard.url);
  dashboard.after(() => ada.close());
  await dashboard.button('Pair with Ada').click();
  await show('#connection', '2 devices live');
  for (let number = 1; number < 500; number++) ada.touch(NO_PICTURES);
  await show('.foot .count', '499 events');
  other.touch({ over: { timestamp: '1732190009999' } });
  await show('.foot .count', 'the last 500 events');
  await inEach((page) => page.getByRole('button', { name: 'Touch' }).click());
  await show('.foot .count', '500 of the last 500 events');
  await show('.matches', /Matches \d+ of/);
  await holds('two devices, 500 events');
  ada.touch({ full_image_data: png(1194, 834, []).toString('base64'), event: { targetText: 'On its side' } });
  await inEach((page) => page.locator('.row', { hasText: 'On its side' }).click());
  await show('#detail h2', 'On its side');
  await holds('a picture that is wider than high', [{ width: 1280, height: 720 }, { width: 1920, height: 900 }, ...TALL]);
  await dashboard.page.setViewportSize({ width: 1280, height: 720 });
  await dashboard.page.locator('.menu summary').click();
  await dashboard.isAccessible();
  await dashboard.button('Connect a device').click();
  await dashboard.isAccessible();
  await dashboard.page.keyboard.press('Escape');
  ada.close();
  await show('.device[data-state="gone"]');

  await inEach((page) => page.setViewportSize(SIZES[0]));
  await inEach((page) => page.locator('.row').first().click());
  await dashboard.outlines('.target', buttonBox);

  const received = await Promise.all(browsers.map((browser) => dashboard.pageIn(t, browser, undefined, { path: '/received/' })));
  await fetch(dashboard.url + pageviewUrl);
  await fetch(dashboard.url + pageviewUrl.replace('&z=2', '&z=7'));
  const touch = { ...events.touch, touchEvent: { ...events.touch.touchEvent, targetText: LONG_NAME } };
  await fetch(dashboard.url + trackPath, { method: 'POST', body: batchBody(message(touch)), headers: { 'Content-Type': 'application/json' } });
  for (const page of received) {
    await page.locator('.session:not([open]) > summary').click();
    await page.locator('.record', { hasText: LONG_NAME }).waitFor();
    await page.evaluate(() => document.querySelectorAll('.record').forEach((record) => (record.open = true)));
    await page.locator('.facts dt', { hasText: 'targetText' }).waitFor();
  }
  await holds('what was received, all of it opened', OF_ONE_COLUMN, received);

  await dashboard.stopService();
  await show('#connection', 'Service not connected');
  await holds('one event opened, no service');
  await dashboard.isAccessible();
});
