#!/usr/bin/env node
// Starts the local capture service; `--help` says how.

import fs from 'node:fs';
import { parseCommandLine, usage } from './lib/command-line.mjs';
import { Service } from './lib/service.mjs';

const log = (line) => process.stderr.write(`capture-service: ${line}\n`);
// A reader that went away is no reason to stop receiving.
for (const stream of [process.stdout, process.stderr]) stream.on('error', () => {});

function settingsOrExit() {
  try {
    return parseCommandLine(process.argv.slice(2));
  } catch (error) {
    log(`${error.message}\nTry --help.`);
    return process.exit(2);
  }
}

async function run({ port, portFile, ...settings }) {
  const service = new Service({ ...settings, log });
  for (const signal of ['SIGINT', 'SIGTERM']) {
    process.once(signal, async () => {
      await service.stop();
      process.exit(0);
    });
  }
  const url = await service.start(port);
  log("a developer's tool: it listens on this machine only and keeps what it receives in plain text");
  process.stdout.write(`capture-service listening on ${url}\n`);
  if (settings.visualizer !== undefined) process.stdout.write(`dashboard at ${url}/visualizer/\n`);
  if (portFile !== undefined) writeWhole(portFile, `${new URL(url).port}\n`);
}

/** So that whoever waits for the file never reads half of it. */
function writeWhole(path, content) {
  fs.writeFileSync(`${path}.new`, content);
  fs.renameSync(`${path}.new`, path);
}

const settings = settingsOrExit();
if (settings.help) {
  process.stdout.write(usage);
} else {
  run(settings).catch((error) => {
    log(error.message);
    process.exit(1);
  });
}
