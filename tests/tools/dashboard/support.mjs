// What the tests of the pages share: a browser, a service, and a page that must not raise an error.

import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';
import { Service } from '../../../tools/capture-service/lib/service.mjs';
import { ScriptedApp } from '../support/scripted-app.mjs';

const load = createRequire(new URL('../../../tools/capture-service/package.json', import.meta.url));
const { chromium } = load('playwright-core');
const axe = load('axe-core');

export const NO_PICTURES = { full_image_data: undefined, image_data: undefined };

/** A browser that sees these fonts and no other of the machine's: 'wide' or 'narrow', a file each in support/fonts. */
export const launchBrowser = (fonts = 'wide') =>
  chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox'],
    env: { ...process.env, FONTCONFIG_FILE: fileURLToPath(new URL(`../support/fonts/${fonts}.conf`, import.meta.url)) },
  });

/** A dashboard in a browser, with a service that can be stopped and started again on the same port. */
export class Dashboard {
  url;
  page;
  #settings;
  #service;
  #ends = [];
  #errors = [];

  static async open(t, browser, { width = 1280, height = 800, envId = '11', file, plan, before, path } = {}) {
    const dashboard = new Dashboard();
    const goneMs = 600_000; // longer than any test
    dashboard.#settings = { visualizer: { envId, goneMs }, file, plan };
    t.after(() => dashboard.#end());
    await dashboard.startService();
    dashboard.page = await dashboard.pageIn(t, browser, { width, height }, { before, path });
    return dashboard;
  }

  /** What ends with the test, whatever else goes wrong then. Of the test's own hooks none is called after one that throws. */
  after(end) {
    this.#ends.push(end);
  }

  async #end() {
    for (const end of [...this.#ends, () => this.stopService()]) {
      try {
        await end();
      } catch ({ message }) {
        this.#errors.push(message);
      }
    }
    assert.deepEqual(this.#errors, []);
  }

  /** One more page of the same service; `before` runs in it ahead of its own scripts. */
  async pageIn(t, browser, viewport, { before = () => {}, path = '/visualizer/' } = {}) {
    const context = await browser.newContext({ viewport, permissions: ['clipboard-read', 'clipboard-write'] });
    this.after(() => context.close());
    context.setDefaultTimeout(60_000); // on a busy machine a page alone takes more than 15 s
    const page = await context.newPage();
    page.on('pageerror', (error) => {
      t.diagnostic(`the page raised: ${error.message}`);
      this.#errors.push(error.message);
    });
    await page.addInitScript(before);
    await page.goto(this.url + path);
    await page.locator('#connection', { hasText: 'Service connected' }).waitFor();
    return page;
  }

  async startService() {
    this.#service = new Service(this.#settings);
    this.url = await this.#service.start(this.url ? Number(new URL(this.url).port) : 0);
  }

  async stopService() {
    await this.#service?.stop();
    this.#service = null;
  }

  /** An app that was asked by this page and has accepted, and ends with the test. */
  async pairedApp(settings) {
    const app = await ScriptedApp.start(this.url, settings);
    this.after(() => app.close());
    await this.page.locator('button:visible', { hasText: /^Pair$/ }).click();
    await this.page.locator('.device[data-state="paired"], #stage .pulse').first().waitFor({ state: 'attached' });
    return app;
  }

  /** A paired app that has touched things of these names. */
  async appThatTouched(...names) {
    const app = await this.pairedApp();
    for (const targetText of names) app.touch({ event: { targetText } });
    await this.showsEvent(`Tapped ${names.at(-1)}`);
    return app;
  }

  button(name) {
    return this.page.getByRole('button', { name });
  }

  card(name) {
    return this.page.locator('.device', { hasText: name });
  }

  row(text) {
    return this.page.locator('.row', { hasText: text });
  }

  /** Waits until the only element of the selector has this text. */
  async shows(selector, text) {
    await this.page.locator(selector).filter({ hasText: text }).waitFor();
  }

  /** Waits until the selected event and its detail are this one. */
  async showsEvent(title) {
    await this.shows('.row[aria-selected="true"] .row-title', title);
    await this.shows('#detail h2', title);
  }

  /** Waits until the list is just this, from the top: titles of rows, and of scenes, which end with ":". */
  async tells(...wanted) {
    await this.hasRows(wanted.filter((text) => !text.endsWith(':')).length);
    const read = (nodes) => nodes.map((node) => node.textContent + (node.matches('bdi') ? ':' : ''));
    assert.deepEqual(await this.page.locator('.row-title, .scene-head bdi').evaluateAll(read), wanted);
  }

  /** Nothing stands in the way of those who see little or nothing, in light and in dark. */
  async isAccessible(page = this.page) {
    await page.evaluate(axe.source);
    for (const colorScheme of ['light', 'dark']) {
      await page.emulateMedia({ colorScheme });
      const { violations } = await page.evaluate(() => globalThis.axe.run());
      const told = violations.flatMap(({ id, nodes }) => nodes.map(({ target, failureSummary }) => `${id}: ${target} ${failureSummary}`));
      assert.deepEqual(told, [], colorScheme);
    }
  }

  /** Whether all of the element is within the window. */
  isInSight(selector) {
    return this.page.locator(selector).evaluate((node) => {
      const { left, top, right, bottom } = node.getBoundingClientRect();
      return left >= 0 && top >= 0 && right <= innerWidth && bottom <= innerHeight;
    });
  }

  async hasRows(count) {
    await this.page.waitForFunction((wanted) => document.querySelectorAll('.row').length === wanted, count);
  }

  /** Waits until the outline lies over the box of the screenshot, to a pixel, whatever the picture's scale. */
  async outlines(selector, box, frame = '.screen-frame') {
    await this.page.waitForFunction(
      ([outline, around, { x, y, width, height }]) => {
        const picture = document.querySelector(`${around} img`);
        const [shown, whole] = [document.querySelector(`${around} ${outline}`), picture].map((node) => node?.getBoundingClientRect());
        if (!shown?.width || !whole?.width) return false;
        const scale = whole.width / picture.naturalWidth;
        const near = (value, wanted) => Math.abs(value - wanted * scale) < 1;
        return near(shown.x - whole.x, x) && near(shown.y - whole.y, y) && near(shown.width, width) && near(shown.height, height);
      },
      [selector, frame, box],
    );
  }
}
