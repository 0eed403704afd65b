// The last records for the page: those of the file at the start, then what comes. Numbered anew, because a file holds the
// records of several runs. Bounded in number and in size.

import { randomUUID } from 'node:crypto';
import fs from 'node:fs';

const MAX_RECORDS = 5000;
const MAX_CHARACTERS = 64 * 1024 * 1024;

export class ReceivedList {
  #run = randomUUID();
  #store;
  #entries = []; // { number, line }
  #characters = 0;
  #last = 0;
  #lastSeq = 0;

  /** Reads the file's end, if there is one; what it cannot read it leaves out. */
  constructor({ store, file }) {
    this.#store = store;
    if (file !== null) for (const line of lastLines(file)) this.#add(line);
    store.on('added', () => this.#takeNew());
    store.on('reset', () => this.#forget());
  }

  /** Whose numbers they are: they begin anew with the service, and when it forgets its records. */
  get run() {
    return this.#run;
  }

  get last() {
    return this.#last;
  }

  /** The entries above that number, oldest first. */
  since(number) {
    return this.#entries.filter((entry) => entry.number > number);
  }

  #takeNew() {
    for (const line of this.#store.select({ since: this.#lastSeq })) this.#add(line);
    this.#lastSeq = this.#store.lastSeq;
  }

  #forget() {
    this.#run = randomUUID();
    this.#entries = [];
    this.#characters = this.#last = 0;
    this.#lastSeq = this.#store.lastSeq;
  }

  #add(line) {
    this.#entries.push({ number: ++this.#last, line });
    this.#characters += line.length;
    while (this.#entries.length > MAX_RECORDS || this.#characters > MAX_CHARACTERS)
      this.#characters -= this.#entries.shift().line.length;
  }
}

/** The whole lines at the end of a file that hold records, as many as are kept. */
function lastLines(file) {
  const stats = fs.statSync(file);
  if (!stats.isFile()) return []; // what is written to a terminal or a pipe cannot be read back
  const { size } = stats;
  const start = Math.max(0, size - MAX_CHARACTERS);
  const descriptor = fs.openSync(file, 'r');
  try {
    const bytes = Buffer.alloc(size - start);
    const length = fs.readSync(descriptor, bytes, 0, bytes.length, start);
    const lines = bytes.toString('utf8', 0, length).split('\n');
    return lines.slice(start > 0 ? 1 : 0).filter(isRecord).slice(-MAX_RECORDS);
  } finally {
    fs.closeSync(descriptor);
  }
}

function isRecord(line) {
  try {
    const { endpoint, problems } = JSON.parse(line);
    return typeof endpoint === 'string' && Array.isArray(problems);
  } catch {
    return false;
  }
}
