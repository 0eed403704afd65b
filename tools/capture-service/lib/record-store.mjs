// Keeps the records of received items: the last ones in memory, all of them in a file when there is one. Memory is
// bounded by the number of records and by their size as JSON; the oldest go first. A record is in the file before its
// request is answered. Emits 'added' after each request, and 'reset'.

import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import { Tally } from './tally.mjs';

const MAX_PROBLEMS = 20;

export class RecordStore extends EventEmitter {
  tally = new Tally();
  #file = null;
  #maxRecords;
  #maxCharacters;
  #log;
  #entries = []; // { seq, endpoint, line }, oldest at #first; what lies before #first is gone
  #first = 0;
  #characters = 0;
  #lastSeq = 0;
  #dropped = 0;
  #fileErrors = 0;

  /** `log` takes a line for each invalid item and for each failed write. The file is opened at once; throws if it can't. */
  constructor({ file = null, maxRecords = 10_000, maxCharacters = 256 * 1024 * 1024, log = () => {} } = {}) {
    super();
    this.setMaxListeners(0);
    this.#maxRecords = maxRecords;
    this.#maxCharacters = maxCharacters;
    this.#log = log;
    if (file !== null) this.#file = fs.openSync(file, 'a');
  }

  get lastSeq() {
    return this.#lastSeq;
  }

  /** Records the items of one request: `receipt` from the tally, and how it will be answered. */
  add(receipt, items, answer) {
    let lines = '';
    for (const item of items) lines += `${this.#addItem(receipt, item, answer)}\n`;
    this.#appendToFile(lines);
    this.emit('added');
  }

  #addItem({ receivedAt, endpoint, ...receipt }, { problems, content }, answer) {
    const seq = ++this.#lastSeq;
    const valid = problems.length === 0;
    const shown = problems.slice(0, MAX_PROBLEMS);
    if (problems.length > MAX_PROBLEMS) shown.push(`and ${problems.length - MAX_PROBLEMS} more`);
    const line = JSON.stringify({
      seq,
      receivedAt,
      endpoint,
      valid,
      problems: shown,
      ...answer,
      ...receipt,
      ...content,
    });
    this.tally.countItem(endpoint, valid);
    if (!valid) this.#log(`invalid #${seq} ${endpoint}: ${shown.join('; ')}`);
    this.#entries.push({ seq, endpoint, line });
    this.#characters += line.length;
    this.#dropOldest();
    return line;
  }

  #dropOldest() {
    while (this.#kept() > this.#maxRecords || (this.#characters > this.#maxCharacters && this.#kept() > 0)) {
      this.#characters -= this.#entries[this.#first].line.length;
      this.#entries[this.#first++] = undefined;
      this.#dropped++;
    }
    if (this.#first > 1000 && this.#first > this.#entries.length / 2) {
      this.#entries.splice(0, this.#first);
      this.#first = 0;
    }
  }

  #kept() {
    return this.#entries.length - this.#first;
  }

  #appendToFile(lines) {
    if (this.#file === null) return;
    try {
      fs.appendFileSync(this.#file, lines);
    } catch (error) {
      this.#fileErrors++;
      this.#log(`cannot write the file: ${error.message}`);
    }
  }

  /** The JSON lines kept in memory with a number above `since`, oldest first, at most `limit`. */
  select({ endpoint = null, since = 0, limit = Infinity } = {}) {
    const firstSeq = this.#lastSeq - this.#kept() + 1;
    const lines = [];
    for (
      let i = this.#first + Math.max(0, since + 1 - firstSeq);
      i < this.#entries.length && lines.length < limit;
      i++
    ) {
      const entry = this.#entries[i];
      if (endpoint === null || entry.endpoint === endpoint) lines.push(entry.line);
    }
    return lines;
  }

  counts() {
    const { valid, invalid, endpoints, ...traffic } = this.tally.counts;
    const kept = this.#kept();
    return { ...traffic, valid, invalid, kept, dropped: this.#dropped, fileErrors: this.#fileErrors, endpoints };
  }

  /** Forgets what is in memory and starts the counts anew. Sequence numbers go on, and the file is left alone. */
  reset() {
    this.#entries = [];
    this.#first = this.#characters = this.#dropped = this.#fileErrors = 0;
    this.tally.reset();
    this.emit('reset');
  }

  close() {
    if (this.#file !== null) fs.closeSync(this.#file);
    this.#file = null;
  }
}
