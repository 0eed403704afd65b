// What the tests of the dashboard share: a browser, a service, and a page that must not raise an error.

import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';
import { Service } from '../../../tools/capture-service/lib/service.mjs';
import { ScriptedApp } from '../support/scripted-app.mjs';

const { chromium } = createRequire(new URL('../../../tools/capture-service/package.json', import.meta.url))(
  'playwright-core',
);

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
  #envId;
  #service;
  #errors = [];

  static async open(t, browser, { width = 1280, height = 800, envId = '11', before } = {}) {
    const dashboard = new Dashboard();
    dashboard.#envId = envId;
    await dashboard.startService();
    t.after(async () => {
      await dashboard.stopService();
      assert.deepEqual(dashboard.#errors, []);
    });
    dashboard.page = await dashboard.pageIn(t, browser, { width, height }, before);
    return dashboard;
  }

  /** One more page of the same service; `before` runs in it ahead of its own scripts. */
  async pageIn(t, browser, viewport, before = () => {}) {
    const context = await browser.newContext({ viewport, permissions: ['clipboard-read', 'clipboard-write'] });
    t.after(() => context.close());
    context.setDefaultTimeout(15_000);
    const page = await context.newPage();
    page.on('pageerror', (error) => {
      t.diagnostic(`the page raised: ${error.message}`);
      this.#errors.push(error.message);
    });
    await page.addInitScript(before);
    await page.goto(`${this.url}/visualizer/`);
    await page.locator('#connection', { hasText: 'Live' }).waitFor();
    return page;
  }

  async startService() {
    this.#service = new Service({ visualizer: { envId: this.#envId } });
    this.url = await this.#service.start(this.url ? Number(new URL(this.url).port) : 0);
  }

  async stopService() {
    await this.#service?.stop();
    this.#service = null;
  }

  /** An app that was asked by this page and has accepted; `shownName` is what the page makes of its name. */
  async pairedApp(settings, shownName = settings?.name ?? 'Ada’s iPhone') {
    const app = await ScriptedApp.start(this.url, settings);
    const card = this.card(shownName);
    await card.getByRole('button', { name: /^Pair with/ }).click();
    await card.filter({ hasText: 'Paired since' }).waitFor();
    return app;
  }

  card(name) {
    return this.page.locator('.device', { hasText: name });
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

  async hasRows(count) {
    await this.page.waitForFunction((wanted) => document.querySelectorAll('.row').length === wanted, count);
  }

  /** Waits until the outline lies over the box of the screenshot, to a pixel, whatever the picture's scale. */
  async outlines(selector, box) {
    await this.page.waitForFunction(
      ([outline, { x, y, width, height }]) => {
        const picture = document.querySelector('.screen-frame img');
        const [shown, whole] = [document.querySelector(outline), picture].map((element) =>
          element?.getBoundingClientRect(),
        );
        if (!shown?.width || !whole?.width) return false;
        const scale = whole.width / picture.naturalWidth;
        const near = (value, wanted) => Math.abs(value - wanted * scale) < 1;
        return (
          near(shown.x - whole.x, x) &&
          near(shown.y - whole.y, y) &&
          near(shown.width, width) &&
          near(shown.height, height)
        );
      },
      [selector, box],
    );
  }
}
