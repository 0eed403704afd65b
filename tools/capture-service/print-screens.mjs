#!/usr/bin/env node
// Prints what the capture service received as its sender's users went through it: session by session, screen by screen,
// and under each screen what was done on it.

import fs from 'node:fs';
import { isObject } from './lib/checks.mjs';
import { closingLines } from './lib/record-rows.mjs';
import { screensOf } from './lib/screens.mjs';
import { printable } from './lib/table.mjs';

const usage = `Usage: node print-screens.mjs FILE

Prints the records of a capture service's file by session and screen.
`;

function recordsIn(file) {
  const lines = fs.readFileSync(file, 'utf8').split('\n');
  return lines.filter((line) => line !== '').map((line) => JSON.parse(line)).filter(isObject);
}

const [file, ...rest] = process.argv.slice(2);
if (file === '--help') {
  process.stdout.write(usage);
} else if (file === undefined || file.startsWith('-') || rest.length > 0) {
  process.stderr.write(usage);
  process.exitCode = 2;
} else {
  try {
    const records = recordsIn(file);
    const lines = [...screensOf(records), '', ...closingLines(records)];
    process.stdout.write(lines.map((line) => `${printable(line)}\n`).join(''));
  } catch (error) {
    process.stderr.write(`print-screens: ${error.message}\n`);
    process.exitCode = 1;
  }
}
