// The example app with the library in it, used by its scripted user. STOREFRONT names its program.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

/** Starts it paired with the dashboard's service; it ends with the dashboard, if not before. */
export function startStorefront(dashboard) {
  const { url } = dashboard;
  const program = process.env.STOREFRONT;
  assert.ok(program, 'STOREFRONT must name the program of the example app');
  const data = fs.mkdtempSync(path.join(os.tmpdir(), 'storefront-'));
  const app = spawn(
    program,
    ['--data', data, '--environment', '11', '--capture-url', url, '--visualizer-url', `${url}/`]
      .concat(['--open-url', 'kova-11://1/launch-ev']),
    { stdio: ['ignore', 'pipe', 'inherit'] },
  );
  const ended = once(app, 'exit');
  let told = '';
  app.stdout.on('data', (text) => (told += text));
  dashboard.after(async () => {
    app.kill();
    await ended;
    fs.rmSync(data, { recursive: true });
  });
  const tells = async (text) => {
    while (!told.includes(text)) await once(app.stdout, 'data', { signal: AbortSignal.timeout(30_000) });
  };
  return { ended, told: () => told, tells };
}
