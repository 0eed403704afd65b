// A desktop of its own for one test: a display, a mouse, a capture service, a home folder, and fonts that are the same on
// every machine, so that a widget lies where it lay.

import assert from 'node:assert/strict';
import { execFile, spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { promisify } from 'node:util';
import { Service } from '../../../tools/capture-service/lib/service.mjs';

const run = promisify(execFile);
const WINDOW_MS = 30_000;
const PATIENCE_MS = 1_000;
const fonts = fileURLToPath(new URL('../../tools/support/fonts/wide.conf', import.meta.url));

// xdotool's words for the window of a title. A regular expression is taken for what the program calls itself instead:
// xdotool does not know each window's title.
const named = (title) => (title instanceof RegExp ? ['--class', title.source] : ['--name', `^${title}$`]);

export class Desktop {
  url;
  home;
  #environment;
  #service = new Service();
  #started = []; // processes, in the order in which they were started

  /** Ends with the test, and all that was started on it. `KOVA_RUN` names kova-run. */
  static async start(t) {
    const desktop = new Desktop();
    t.after(() => desktop.#stop());
    desktop.url = await desktop.#service.start();
    desktop.home = await fs.mkdtemp(path.join(os.tmpdir(), 'kova-desktop-'));
    desktop.#environment = {
      PATH: process.env.PATH,
      HOME: desktop.home,
      XDG_RUNTIME_DIR: desktop.home,
      TMPDIR: desktop.home, // a program that runs once leaves its socket there
      LC_ALL: 'C.UTF-8',
      FONTCONFIG_FILE: fonts,
      QT_FONT_DPI: '96',
      QT_STYLE_OVERRIDE: 'Fusion',
      QT_QPA_PLATFORM: 'xcb',
      DISPLAY: await desktop.#startDisplay(),
      KOVA_RUN_INTERVAL: '0.2',
    };
    return desktop;
  }

  /** Starts a program with Kova in it, or without. Its `end` resolves to { status, output, errors }. */
  launch(program, { withKova = true, words = [], environment = {} } = {}) {
    const kovaRun = withKova ? [process.env.KOVA_RUN, '--env', '11', '--capture-url', this.url] : [];
    const child = this.#spawn([...kovaRun, program, ...words], { env: { ...this.#environment, ...environment } });
    const said = { output: '', errors: '' };
    child.stdout.setEncoding('utf8').on('data', (text) => (said.output += text));
    child.stderr.setEncoding('utf8').on('data', (text) => (said.errors += text));
    return { end: new Promise((resolve) => child.once('close', (status, signal) => resolve({ status, signal, ...said }))) };
  }

  /** Clicks in the window of that title, once it is there; a negative position counts from its lower right corner. */
  async click(title, x, y) {
    const search = ['search', '--sync', '--onlyvisible', '--limit', '1', ...named(title)];
    const { stdout } = await this.#xdotool([...search, 'getwindowgeometry', '--shell', '%1']);
    const [, window, , , width, height] = /WINDOW=(\d+)\nX=(-?\d+)\nY=(-?\d+)\nWIDTH=(\d+)\nHEIGHT=(\d+)/.exec(stdout);
    const at = [x < 0 ? Number(width) + x : x, y < 0 ? Number(height) + y : y].map(String);
    await this.#xdotool(['mousemove', '--sync', '--window', window, ...at, 'click', '1']);
  }

  type = (text) => this.#xdotool(['type', text]);
  /** Presses a key, such as "ctrl+q". */
  press = (key) => this.#xdotool(['key', key]);

  #xdotool(words) {
    return run('xdotool', words, { env: this.#environment, timeout: WINDOW_MS });
  }

  /** What the service received, once `isEnough(records)`; the test's own limit ends the waiting, unless `signal` does so before. */
  async received(isEnough, signal) {
    const get = async (path) => (await fetch(this.url + path, { signal })).json();
    for (let [last, run] = [0, '']; ; ) {
      const { records } = await get('/_/records');
      if (isEnough(records)) return records;
      ({ last, run } = await get(`/received/records.json?since=${last}&run=${run}`)); // answers as soon as there is more
    }
  }

  /** Does it, and again, until that leads to enough: a program may take nothing for a while, and tell nobody. */
  async repeat(deed, isEnough) {
    for (;;) {
      await deed();
      const patience = AbortSignal.timeout(PATIENCE_MS);
      const records = await this.received(isEnough, patience).catch((problem) => assert.ok(patience.aborted, problem));
      if (records) return records;
    }
  }

  #spawn([program, ...words], options) {
    const child = spawn(program, words, options);
    this.#started.push({ child, ended: once(child, 'close') });
    return child;
  }

  /** Resolves to the display's name. */
  #startDisplay() {
    const server = this.#spawn(['Xvfb', '-displayfd', '3', '-screen', '0', '1280x800x24', '-nolisten', 'tcp'], {
      stdio: ['ignore', 'ignore', 'ignore', 'pipe'],
    });
    return new Promise((resolve, reject) => {
      let said = '';
      server.once('error', reject).once('exit', () => reject(new Error('Xvfb ended')));
      server.stdio[3].setEncoding('utf8').on('data', (text) => {
        said += text;
        if (said.endsWith('\n')) resolve(`:${said.trim()}`);
      });
    });
  }

  // A program that hangs ends as well; the display first removes what it has in /tmp.
  async #stop() {
    for (const { child, ended } of this.#started.reverse()) {
      child.kill(child.spawnfile === 'Xvfb' ? 'SIGTERM' : 'SIGKILL');
      await ended;
    }
    await this.#service.stop();
    await fs.rm(this.home, { recursive: true, force: true });
  }
}
