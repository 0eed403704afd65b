// POST /api/mobile_telemetry: the library's report on its own health.

import { eitherOf, environmentId, isObject, matching, nonEmptyText, object, oneOf, text, version } from '../checks.mjs';
import { jsonHeaderProblems, parseCompactJson, rawContent, readText } from '../json-body.mjs';

const completeMetadata = {
  sdk_metadata: object({ source: oneOf('ios'), platform_type: oneOf('ios'), native_sdk_version: version }),
  device_metadata: object({ os_version: text, device_model: text }),
  app_metadata: object({ app_identifier: text, version_string: text, env_id: environmentId }),
};

// Reports of the time before the library knew its host.
const fallbackMetadata = {
  sdk_metadata: object({ source: oneOf('ios'), platform_type: oneOf('ios') }),
  device_metadata: object({}),
  app_metadata: object({}),
};

const bailReport = {
  custom_message: matching(/^[^]*: [^]*$/, 'a name and a reason'),
  source: nonEmptyText,
  event_type: oneOf('kova bailed'),
  log_type: oneOf('error'),
};

const emptyBodyReport = {
  custom_message: oneOf('Empty request body'),
  event_type: oneOf('empty request body'),
  log_type: oneOf('info'),
};

const log = (report) =>
  eitherOf(object({ ...report, ...completeMetadata }), object({ ...report, ...fallbackMetadata }));
const bailLog = log(bailReport);
const emptyBodyLog = log(emptyBodyReport);

function logProblems(entry) {
  const problems = [];
  const check = isObject(entry) && entry.event_type === 'empty request body' ? emptyBodyLog : bailLog;
  check(entry, 'log', problems);
  return problems;
}

export const telemetry = {
  name: 'telemetry',
  path: '/api/mobile_telemetry',
  method: 'POST',

  /** One item, the log, or the raw body when it is no list of one log. */
  read({ query, headers, body }) {
    const problems = jsonHeaderProblems(headers);
    if (query !== '') problems.push('a query string where none is known');
    const { log: entry, problem } = openLog(body);
    if (problem !== undefined) return [{ problems: [...problems, problem], content: rawContent(body) }];
    return [{ problems: [...problems, ...logProblems(entry)], content: { log: entry } }];
  },
};

function openLog(body) {
  const read = readText(body);
  if (read.problem !== undefined) return read;
  const { value, problem } = parseCompactJson(read.text);
  if (problem !== undefined) return { problem };
  const logs = isObject(value) && Object.keys(value).length === 1 ? value.telemetry_logs : undefined;
  if (!Array.isArray(logs) || logs.length !== 1) return { problem: 'the body is not {"telemetry_logs":[one log]}' };
  return { log: logs[0] };
}
