import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { batchBody, events, identifyUrl, message, pageviewUrl, request, startService, trackPath } from './support.mjs';

const tool = (name) => fileURLToPath(new URL(`../../../tools/capture-service/${name}`, import.meta.url));

function temporaryFolder(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'capture-service-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

const linesOf = (file) => fs.readFileSync(file, 'utf8').trimEnd().split('\n').map((line) => JSON.parse(line));

test('memory keeps the last records, the file all of them, before the answer', async (t) => {
  const file = path.join(temporaryFolder(t), 'received.jsonl');
  const service = await startService(t, { maxRecords: 5, file });
  for (let sent = 300; sent <= 3000; sent += 300) {
    await service.postJson(trackPath, batchBody(...Array(300).fill(message(events.custom))));
    assert.equal(linesOf(file).length, sent);
  }
  assert.deepEqual((await service.records()).map(({ seq }) => seq), [2996, 2997, 2998, 2999, 3000]);
  const { kept, dropped, valid } = await service.counts();
  assert.deepEqual([kept, dropped, valid], [5, 2995, 3000]);
  assert.deepEqual(linesOf(file).slice(-5), await service.records());
  await service.reset();
  await service.get(identifyUrl);
  assert.deepEqual((await service.records()).map(({ seq }) => seq), [3001]);
});

test('the listing filters, waits for what is asked for, and refuses what it does not know', async (t) => {
  const service = await startService(t);
  const waiting = request({ url: service.url, path: '/_/records?endpoint=identify&atLeast=2&waitMs=60000' });
  for (const url of [identifyUrl, pageviewUrl, identifyUrl, pageviewUrl]) await service.get(url);
  assert.deepEqual(JSON.parse((await waiting).text).records.map(({ seq }) => seq), [1, 3]);
  assert.deepEqual((await service.records('?endpoint=h&since=2')).map(({ seq }) => seq), [4]);
  assert.deepEqual((await service.records('?limit=2')).map(({ seq }) => seq), [1, 2]);
  for (const query of ['endpoint=nowhere', 'since=-1', 'until=3']) {
    assert.equal((await service.get(`/_/records?${query}`)).status, 400, query);
  }
  const foreign = await service.send('POST', '/_/reset', undefined, { Origin: 'http://example.com' });
  const upload = await service.send('GET', '/h?a=11', undefined, { Origin: 'http://example.com' });
  assert.equal(upload.status, 403);
  assert.equal(foreign.status, 403);
  assert.equal((await service.send('GET', '/_/records', undefined, { Host: 'example.com' })).status, 403);
  assert.equal((await service.records()).length, 4);
});

test('the service answers as badly as it is told, and records all the same', async (t) => {
  const service = await startService(t);
  const outcome = async (setting) => {
    assert.equal((await service.behave({ times: 1, ...setting })).mode, setting.mode);
    const before = (await service.counts()).requests;
    const result = await service.get(identifyUrl).then(({ status }) => status, ({ message: reason }) => reason);
    const record = (await service.records()).at(-1);
    assert.equal((await service.counts()).requests, before + 1);
    assert.ok(record.valid);
    return [result, record.answered];
  };
  assert.deepEqual(await outcome({ mode: 'status' }), [500, '500']);
  assert.deepEqual(await outcome({ mode: 'status', status: 403 }), [403, '403']);
  assert.deepEqual(await outcome({ mode: 'reset' }), ['read ECONNRESET', 'reset']);
  assert.deepEqual(await outcome({ mode: 'reset-mid-body' }), ['aborted', 'reset-mid-body']);
  const begun = performance.now();
  assert.deepEqual(await outcome({ mode: 'slow', delayMs: 50 }), [200, '200']);
  assert.ok(performance.now() - begun >= 49);
  assert.deepEqual(await outcome({ mode: 'normal' }), [200, '200']);
});

test('a bad mode holds for its endpoint and its number of requests only', async (t) => {
  const service = await startService(t);
  await service.behave({ mode: 'status', times: 2, endpoint: 'identify' });
  const statuses = [];
  for (const url of [pageviewUrl, identifyUrl, identifyUrl, identifyUrl]) statuses.push((await service.get(url)).status);
  assert.deepEqual(statuses, [200, 500, 500, 200]);
  for (const setting of [{ mode: 'odd' }, { mode: 'slow', delayMs: -1 }, { mode: 'slow', delay: 1 }, { status: 500 }, { mode: 'slow', times: 0 }]) {
    assert.ok((await service.behave(setting)).problems.length > 0, JSON.stringify(setting));
  }
});

test('a silent service holds the request until it ends', async (t) => {
  const service = await startService(t);
  await service.behave({ mode: 'silent' });
  let isAnswered = false;
  const held = request({ url: service.url, path: identifyUrl }).then(() => (isAnswered = true), (error) => error.code);
  const [record] = JSON.parse((await service.get('/_/records?atLeast=1&waitMs=60000')).text).records;
  assert.equal(record.answered, 'silent');
  assert.equal(isAnswered, false);
  t.after(async () => assert.equal(await held, 'ECONNRESET'));
});

test('the program starts, serves, and ends cleanly', async (t) => {
  const folder = temporaryFolder(t);
  const [file, portFile] = ['received.jsonl', 'port'].map((name) => path.join(folder, name));
  const args = [tool('capture-service.mjs'), '--file', file, '--port-file', portFile, '--mode', 'status', '--status', '503', '--times', '1'];
  const child = spawn(process.execPath, args, { stdio: ['ignore', 'pipe', 'pipe'] });
  t.after(() => child.kill('SIGKILL'));
  const ended = new Promise((resolve) => child.on('close', (code, signal) => resolve([code, signal])));
  let warnings = '';
  child.stderr.on('data', (chunk) => (warnings += chunk));
  const output = await new Promise((resolve) => child.stdout.once('data', (chunk) => resolve(String(chunk))));
  const [, url] = /^capture-service listening on (http:\/\/127\.0\.0\.1:\d+)\n$/.exec(output);
  assert.equal((await request({ url, path: identifyUrl })).status, 503);
  assert.equal((await request({ url, path: pageviewUrl.replace('z=2', 'z=3').replace('h=Cart', 'h=%1B%5BCart') })).status, 400);
  assert.equal(fs.readFileSync(portFile, 'utf8'), `${new URL(url).port}\n`);

  const live = spawnSync(process.execPath, [tool('print-table.mjs'), url], { encoding: 'utf8' });
  child.kill('SIGTERM');
  assert.deepEqual(await ended, [0, null]);
  assert.match(warnings, /developer's tool[^]*invalid #2 h: /);
  fs.appendFileSync(file, '{"seq":3,"what');
  const table = spawnSync(process.execPath, [tool('print-table.mjs'), file], { encoding: 'utf8', env: { ...process.env, COLUMNS: '120' } });
  assert.match(table.stderr, /line 3 of .* is not a record/);
  const lines = table.stdout.trimEnd().split('\n');
  assert.match(lines[2], /identify “a.* ok \(answered 503\)$/);
  assert.match(lines[3], /pageview ·\[C.* INVALID/);
  assert.ok(lines.slice(0, 4).every((line) => line.length <= 120));
  assert.match(lines.at(-1), /^2 received \(1 identify, 1 h\): 1 valid, 1 invalid: #2 h$/);
  assert.equal(live.stdout.trimEnd().split('\n').at(-1), lines.at(-1));
});

test('a bad command line is explained', () => {
  const run = (...args) => spawnSync(process.execPath, [tool('capture-service.mjs'), ...args], { encoding: 'utf8' });
  const bad = [['--port', 'x'], ['--port', '70000'], ['--odd'], ['--file'], ['--plan', '/'], ['--plan', tool('package.json')], ['extra'], ['--mode', 'odd'], ['--status', '404'], ['--max-records', '0'], ['--env-id', '11'], ['--visualizer', '--env-id', 'x']];
  for (const args of bad) {
    const { status, stderr, stdout } = run(...args);
    assert.deepEqual([status, stdout], [2, ''], args.join(' '));
    assert.match(stderr, /^capture-service: .+\nTry --help\.\n$/s, args.join(' '));
  }
  assert.match(run('--help').stdout, /^Usage: /);
  const unopened = run('--file', path.join(os.tmpdir(), 'no-such-folder', 'file'));
  assert.deepEqual([unopened.status, unopened.stdout], [1, '']);
});
