#!/usr/bin/env node
// Prints what the capture service received as a table, from its file or from the running service.

import fs from 'node:fs';
import http from 'node:http';
import { isObject } from './lib/checks.mjs';
import { closingLines, columns, rowOf } from './lib/record-rows.mjs';
import { layOut, printable } from './lib/table.mjs';

const usage = `Usage: node print-table.mjs FILE-or-URL

Prints the records of a capture service's file, or those that the service at a URL (http://127.0.0.1:PORT) has in
memory. The table is as wide as the terminal, or as COLUMNS says, or else 160 columns.
`;

function get(url) {
  return new Promise((resolve, reject) => {
    const request = http.get(url, (response) => {
      const chunks = [];
      response.on('data', (chunk) => chunks.push(chunk));
      response.on('error', reject);
      response.on('end', () => {
        const text = Buffer.concat(chunks).toString('utf8');
        if (response.statusCode === 200) resolve(text);
        else reject(new Error(`${url} answered ${response.statusCode}`));
      });
    });
    request.on('error', reject);
  });
}

async function recordsAt(source) {
  if (/^http:\/\//.test(source)) return JSON.parse(await get(new URL('/_/records', source))).records;
  const lines = fs.readFileSync(source, 'utf8').split('\n');
  return lines.flatMap((line, index) => {
    if (line === '') return [];
    try {
      const record = JSON.parse(line);
      if (isObject(record)) return [record];
    } catch {
      // Reported below, like any line that is no record.
    }
    process.stderr.write(`print-table: line ${index + 1} of ${source} is not a record\n`);
    return [];
  });
}

const [source, ...rest] = process.argv.slice(2);
if (source === '--help') {
  process.stdout.write(usage);
} else if (source === undefined || source.startsWith('-') || rest.length > 0) {
  process.stderr.write(usage);
  process.exitCode = 2;
} else {
  try {
    const records = await recordsAt(source);
    const width = process.stdout.columns ?? (Number.parseInt(process.env.COLUMNS, 10) || 160);
    const lines = [
      ...layOut(columns, records.map(rowOf), Math.max(80, width)),
      '',
      ...closingLines(records).map(printable),
    ];
    process.stdout.write(`${lines.join('\n')}\n`);
  } catch (error) {
    process.stderr.write(`print-table: ${error.message}\n`);
    process.exitCode = 1;
  }
}
