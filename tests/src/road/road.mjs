// What the tests of the whole road share: a capture service, the programs that send to it, and what it received.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';
import { startService } from '../../tools/capture-service/support.mjs';

/** Seconds between upload passes, for hosts that are not to be waited for. */
export const BRIEFLY = 0.05;

/** The program road-host with the library started, which does as it is told; its commands are those of its source file. */
class RoadHost {
  #process;
  #lines;
  #ended;

  constructor(url, data, version) {
    this.#process = spawn(process.env.ROAD_HOST, [url, data, version], { stdio: ['pipe', 'pipe', 'inherit'] });
    this.#process.stdin.on('error', () => {}); // of one that has ended: no answer comes
    this.#lines = readline.createInterface({ input: this.#process.stdout })[Symbol.asyncIterator]();
    this.#ended = once(this.#process, 'exit');
  }

  /** The answer to a command, which has been carried out on all queues by then. */
  async call(...command) {
    this.#process.stdin.write(`${JSON.stringify(command)}\n`);
    for (;;) {
      const { value: line, done } = await this.#lines.next();
      assert.ok(!done, `the host has ended before it answered ${command[0]}`);
      if (line.startsWith('= ')) return JSON.parse(line.slice(2));
    }
  }

  /** Leaves while uploads may be in flight. */
  async exit() {
    this.#process.stdin.write('["exit"]\n');
    assert.deepEqual(await this.#ended, [0, null]);
  }

  async kill() {
    this.#process.kill('SIGKILL');
    assert.deepEqual(await this.#ended, [null, 'SIGKILL']);
  }

  /** Ends itself in the turn of 21 events; with the library's queue held, which then gets to none of them, or not. */
  async endWithCalls(how, isHeld) {
    this.#process.stdin.write(`${JSON.stringify([how, isHeld])}\n`);
    assert.deepEqual(await this.#ended, how.endsWith('AndDie') ? [null, 'SIGKILL'] : [0, null]);
  }

  async clear() {
    this.#process.kill('SIGKILL');
    await this.#ended;
  }
}

/** A capture service, and the folder that the hosts of one test keep their data in, one after the other. */
export class Road {
  data = fs.mkdtempSync(path.join(os.tmpdir(), 'kova-road-'));
  url;
  behave;
  #service;
  #hosts = [];
  #flushes = 0;

  static async open(t) {
    const road = new Road();
    road.#service = await startService(t);
    road.url = road.#service.url;
    road.behave = road.#service.behave;
    t.after(async () => {
      for (const host of road.#hosts) await host.clear();
      fs.rmSync(road.data, { recursive: true });
    });
    return road;
  }

  /** Without a version a host has no install or upgrade to report; without a pageview no event is sent. */
  async launch({ version = '', hasPageview = true, isOnline = true, isCompressed = false } = {}) {
    const host = new RoadHost(this.url, this.data, version);
    this.#hosts.push(host);
    if (!isOnline) await host.call('online', false);
    await host.call('start', hasPageview ? 'synthetic pageview' : 'no pageview', isCompressed ? 'compressed' : 'plain');
    return host;
  }

  /** Runs another program to its end. */
  async run(program, words, environment = {}) {
    const tool = spawn(program, words, { stdio: ['ignore', 'ignore', 'inherit'], env: { ...process.env, ...environment } });
    assert.deepEqual(await once(tool, 'exit'), [0, null]);
  }

  /** What was received at an endpoint ('' stands for all), oldest first, once there are that many records. */
  async records(endpoint, atLeast = 0) {
    const records = await this.#service.records(`?atLeast=${atLeast}&waitMs=30000${endpoint && `&endpoint=${endpoint}`}`);
    for (const record of records) assert.ok(record.valid, JSON.stringify(record));
    assert.ok(records.length >= atLeast, `only ${records.length} records of ${endpoint}`);
    return records;
  }

  async messages(atLeast) {
    return (await this.records('track', atLeast)).map(({ message }) => message);
  }

  /** A parameter of each pixel that has it. */
  async parameters(endpoint, name, atLeast) {
    return (await this.records(endpoint, atLeast)).map(({ named }) => named[name]).filter((value) => value !== undefined);
  }

  /**
   * Waits until the host has had the answers to all that had arrived before: a further event and a further pixel have
   * arrived, each of which is sent after that.
   */
  async flush(host) {
    const name = `flush${++this.#flushes}`;
    await host.call('track', name);
    await host.call('addUserProperties', { flush: name });
    await host.call('changeInterval', BRIEFLY);
    for (let names = []; !names.includes(name); ) names = (await this.messages(names.length + 1)).map(nameOf);
    for (let pixels = []; pixels.at(-1)?.named._flush !== name; ) pixels = await this.records('user-properties', pixels.length + 1);
  }

  /** What arrives when a host starts on the data left behind, less what a flush has recorded. */
  async messagesAfterRelaunch() {
    const before = (await this.messages()).length;
    const host = await this.launch();
    await this.flush(host);
    await host.kill();
    return (await this.messages()).slice(before).filter((message) => !nameOf(message).startsWith('flush'));
  }
}

/** The host's name for the event of a message, or its kind. */
export function nameOf({ event }) {
  const [kind, { type }] = Object.entries(event)[0];
  return type ?? kind;
}
