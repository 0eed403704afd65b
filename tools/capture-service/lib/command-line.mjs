// The command line of the service.

import fs from 'node:fs';
import { parseArgs } from 'node:util';
import { modes, parseSetting } from './behaviour.mjs';
import { isObject } from './checks.mjs';

const PLAN_TYPES = ['string', 'bool', 'string?', 'bool?'];

export const usage = `Usage: node capture-service.mjs [options]

A developer's tool: receives on 127.0.0.1 what the library sends, checks it strictly, and keeps it.

  --port N           port to listen on (default 0: a free one)
  --port-file PATH   write the port there once it is open
  --file PATH        append every received item to this file, one line of JSON each
  --plan PATH        mark, on the page of received records, what is not as this file says (JSON; see the README)
  --max-records N    records kept in memory (default 10000)
  --max-body N       bytes of the largest body taken (default 33554432)
  --mode MODE        how to answer: ${modes.join(', ')} (default normal)
  --delay-ms N       delay of each answer in a mode other than normal (default 1000 for slow, else 0)
  --status N         the status of mode status (default 500)
  --times N          go back to normal after N requests
  --endpoint NAME    only requests to h, identify, user-properties, track or telemetry are answered that way
  --visualizer       show live events of running apps, too, on a page below /visualizer/; needs npm packages
  --env-id ID        the environment that the page proposes to pair with; needs --visualizer
  --ping-interval N  milliseconds between pings to apps (default 25000); needs --visualizer
  --help             print this text
`;

const text = { type: 'string' };
const options = {
  port: text,
  'port-file': text,
  file: text,
  plan: text,
  'max-records': text,
  'max-body': text,
  mode: text,
  'delay-ms': text,
  status: text,
  times: text,
  endpoint: text,
  visualizer: { type: 'boolean' },
  'env-id': text,
  'ping-interval': text,
  help: { type: 'boolean' },
};

/** Returns { help: true } or the settings of a service. Throws an Error whose message is for the caller of the program. */
export function parseCommandLine(args) {
  const { values } = parseArgs({ args, options, allowPositionals: false });
  if (values.help) return { help: true };
  const number = (name, least, most) => {
    const given = values[name];
    if (given === undefined) return undefined;
    if (!/^\d{1,15}$/.test(given) || Number(given) < least || Number(given) > most) {
      throw new Error(`--${name} takes a whole number from ${least} to ${most}, not "${given}"`);
    }
    return Number(given);
  };
  return {
    port: number('port', 0, 65535),
    portFile: values['port-file'],
    file: values.file,
    plan: planOf(values.plan),
    maxRecords: number('max-records', 1, 10_000_000),
    bodyLimit: number('max-body', 1, 1024 ** 3),
    behaviour: behaviourOf(values, number),
    visualizer: visualizerOf(values, number),
  };
}

function planOf(file) {
  if (file === undefined) return undefined;
  const problem = (why) => new Error(`--plan ${file}: ${why}`);
  let plan;
  try {
    plan = JSON.parse(fs.readFileSync(file, 'utf8'));
  } catch (error) {
    throw problem(error.message);
  }
  const isEvent = (properties) => isObject(properties) && Object.values(properties).every((type) => PLAN_TYPES.includes(type));
  if (!isObject(plan) || !Object.values(plan).every(isEvent))
    throw problem('not an object of events, each an object of properties that are "string", "bool", "string?" or "bool?"');
  return plan;
}

function behaviourOf(values, number) {
  const { mode = 'normal', endpoint } = values;
  const given = {
    delayMs: number('delay-ms', 0, 600_000),
    status: number('status', 200, 599),
    times: number('times', 1, Number.MAX_SAFE_INTEGER),
    endpoint,
  };
  for (const [name, value] of Object.entries(given)) if (value === undefined) delete given[name];
  if (mode === 'normal' && Object.keys(given).length > 0)
    throw new Error('--delay-ms, --status, --times and --endpoint need a --mode');
  const { setting, problems } = parseSetting({ mode, ...given });
  if (problems !== undefined) throw new Error(problems.join('; '));
  return setting;
}

function visualizerOf({ visualizer, 'env-id': envId }, number) {
  const pingInterval = number('ping-interval', 1, 600_000);
  if (visualizer) {
    if (envId !== undefined && !/^[1-9]\d{0,19}$/.test(envId)) throw new Error(`--env-id takes digits, not "${envId}"`);
    return { envId, pingInterval };
  }
  if (envId !== undefined || pingInterval !== undefined) throw new Error('--env-id and --ping-interval need --visualizer');
  return undefined;
}
