import assert from 'node:assert/strict';
import net from 'node:net';
import { test } from 'node:test';
import { parseCompactJson } from '../../../tools/capture-service/lib/json-body.mjs';
import {
  bailLog, batchBody, events, identifyUrl, logsBody, message, pageviewUrl, startService, telemetryPath, trackPath, userPropertiesUrl,
} from './support.mjs';

test('a pageview pixel is decoded, its pairs twice', async (t) => {
  const service = await startService(t);
  assert.equal((await service.get(pageviewUrl)).status, 200);
  const [record] = await service.records('?endpoint=h');
  assert.deepEqual(record.problems, []);
  assert.deepEqual(record.params.slice(0, 2), [['a', '11'], ['s', '0000000000000042']]);
  assert.equal(record.named.g, 'T&Co');
  assert.equal(record.named.t, 'Café');
  assert.equal(record.named.sp, undefined);
  assert.deepEqual(record.sp, [['h', 'HomeViewController'], ['t', '100%']]);
  assert.deepEqual(record.k, [['plan type', 'pro&more']]);
});

test('identity and user property pixels are accepted', async (t) => {
  const service = await startService(t);
  assert.equal((await service.get(identifyUrl)).status, 200);
  assert.equal((await service.get(userPropertiesUrl)).status, 200);
  const [identify, properties] = await service.records();
  assert.equal(identify.named.i, 'ann@example.com');
  assert.equal(properties.named['_plan type'], 'a&b');
  assert.equal(Object.getOwnPropertyDescriptor(properties.named, '__proto__').value, 'x');
});

test('a batch of every kind of event becomes one record a message, on one connection', async (t) => {
  const service = await startService(t);
  const kinds = Object.values(events);
  for (let i = 0; i < 3; i++) {
    const answer = await service.postJson(trackPath, batchBody(...kinds.map((event) => message(event))));
    assert.deepEqual([answer.status, answer.text], [200, '{"ok":true}']);
  }
  const records = await service.records('?endpoint=track');
  assert.equal(records.length, 3 * kinds.length);
  const { receivedAt, ...record } = records[kinds.length + 1];
  assert.ok(Math.abs(Date.now() - receivedAt) < 60_000);
  assert.deepEqual(record, {
    seq: kinds.length + 2, endpoint: 'track', valid: true, problems: [], answered: '200', delayMs: 0, connection: 1,
    request: 2, batch: 2, sentTime: '1732190000123', index: 1, message: message(kinds[1]),
  });
  const counts = await service.counts();
  assert.deepEqual([counts.connections, counts.requests, counts.batches], [1, 3, 3]);
});

test('telemetry is accepted with whole and with fallback metadata', async (t) => {
  const service = await startService(t);
  const fallback = { sdk_metadata: { source: 'ios', platform_type: 'ios' }, device_metadata: {}, app_metadata: {} };
  const { source, ...rest } = bailLog;
  const emptyBody = { ...rest, custom_message: 'Empty request body', event_type: 'empty request body', log_type: 'info' };
  for (const log of [bailLog, { ...bailLog, ...fallback }, emptyBody]) {
    assert.equal((await service.postJson(telemetryPath, logsBody(log))).status, 200, JSON.stringify(log));
  }
  assert.deepEqual((await service.records('?endpoint=telemetry'))[0].log, bailLog);
});

const pixel = (change, url = pageviewUrl) => ({ method: 'GET', path: change(url) });
const track = (body, headers) => ({ method: 'POST', path: trackPath, body, headers });
const changed = (changes) => track(batchBody(message(events.custom, changes)));
const happened = (event) => track(batchBody(message(event)));
const telemetry = (body) => ({ method: 'POST', path: telemetryPath, body });

const refusals = [
  ['an unknown parameter', pixel((url) => url.replace('&st=', '&q=1&st=')), /unknown parameter "q"/],
  ['a missing parameter', pixel((url) => url.replace('&z=2', '')), /parameter "z" is missing/],
  ['no send time', pixel((url) => url.replace(/&st=.*/, '')), /parameter "st" is missing/],
  ['a parameter given twice', pixel((url) => url.replace('&z=2', '&z=2&z=2')), /"z" is given twice/],
  ['parameters out of order', pixel((url) => url.replace('&ts=1732190000000&v=0000000000000007', '&v=0000000000000007&ts=1732190000000')), /"ts" comes after "v"/],
  ['an odd number of pairs', pixel((url) => url.replace('&k=pro%2526more', '')), /"k" is given 1 times/],
  ['a repeated key', pixel((url) => url.replace('&st=', '&k=plan%2520type&k=free&st=')), /key is repeated among "k"/],
  ['pairs encoded once', pixel((url) => url.replace('pro%2526more', 'pro%26more')), /"k", second decoding, is not percent-encoded/],
  ['a short id', pixel((url) => url.replace('s=0000000000000042', 's=42')), /"s" is "42"/],
  ['an id of more than 53 bits', pixel((url) => url.replace('s=0000000000000042', 's=9007199254740992')), /53 bits/],
  ['seconds for milliseconds', pixel((url) => url.replace('ts=1732190000000', 'ts=1732190000')), /"ts" is "1732190000"/],
  ['z out of range', pixel((url) => url.replace('z=2', 'z=3')), /"z" is "3"/],
  ['another platform', pixel((url) => url.replace('b=ios', 'b=web')), /"b" is "web"/],
  ['a bare reserved character', pixel((url) => url.replace('T%26Co', 'T+Co')), /"g" is not percent-encoded/],
  ['a bad escape', pixel((url) => url.replace('T%26Co', 'T%2')), /"g" is not percent-encoded/],
  ['escaped bytes that are not UTF-8', pixel((url) => url.replace('T%26Co', 'T%FF')), /"g" is not percent-encoded/],
  ['an identity pixel without identity', pixel((url) => url.replace(/&i=[^&]*/, ''), identifyUrl), /"i" is missing/],
  ['user properties without any', pixel((url) => url.replace(/&_.*(?=&st)/, ''), userPropertiesUrl), /"_…" is missing/],
  ['a wrapper without its blanks', track(batchBody(message(events.custom)).replace('": "', '":"')), /byte for byte: it differs at byte 12$/],
  ['a wrapper with a further key', track(batchBody(message(events.custom)).replace(/]}$/, '],"n":[]}')), /not JSON: ",\\"n\\":\[\]" at byte 723$/],
  ['a body cut short', telemetry(logsBody(bailLog).slice(0, -1)), /not JSON: it ends too early at byte 375$/],
  ['messages that are not compact', track(batchBody(message(events.custom)).replace('"envId":', '"envId": ')), /not compact: a blank at byte 76$/],
  ['a byte order mark', track(`\ufeff${batchBody(message(events.custom))}`), /byte for byte/],
  ['bytes that are not UTF-8', track(Buffer.from([0x7b, 0xff])), /not UTF-8 at byte 1$/],
  ['an empty batch', track(batchBody()), /no message/],
  ['a batch beyond all measure', track(batchBody(...Array(1001).fill({}))), /1001 messages/],
  ['an empty body', track(''), /byte for byte/],
  ['nesting without end', track(`{"sentTime": "1732190000123", "messages": ${'['.repeat(1e6)}]}`), /nested deeper than 200 levels at byte 242$/],
  ['a message that is no object', track(batchBody(3)), /message is 3/],
  ['no pageview', changed({ pageviewInfo: undefined }), /lacks "pageviewInfo"/],
  ['no session', changed({ sessionInfo: undefined }), /lacks "sessionInfo"/],
  ['neither event nor pageview', changed({ event: undefined }), /neither/],
  ['both event and pageview', changed({ pageview: {} }), /both/],
  ['a pageview in a batch', changed({ event: undefined, pageview: {} }), /uploaded as a pixel/],
  ['an unknown key', changed({ extra: 1 }), /message has the unknown key "extra"/],
  ['null for absent', changed({ properties: null }), /message.properties is null/],
  ['empty properties', changed({ properties: {} }), /message.properties is empty/],
  ['a property without its type', changed({ properties: { n: 3 } }), /message.properties\["n"\] is 3/],
  ['a number among the typed values', changed({ properties: { n: { number: 3 } } }), /\["n"\] is \{"number":3\}/],
  ['an environment id with a zero', changed({ envId: '011' }), /message.envId/],
  ['an unknown kind', happened({ swipeEvent: {}, appVisibilityState: 2 }), /unknown kind "swipeEvent"/],
  ['two kinds', happened({ ...events.custom, ...events.source }), /2 kinds/],
  ['an unknown key of an event', happened({ customEvent: { type: 'a', source: 'b' }, appVisibilityState: 2 }), /customEvent has the unknown key "source"/],
  ['an ancestry that is no list', happened({ touchEvent: { ...events.touch.touchEvent, viewAncestry: { ancestry: {} } }, appVisibilityState: 2 }), /not an array/],
  ['no visibility', happened({ customEvent: { type: 'a' } }), /appVisibilityState is null/],
  ['a visibility of 0 outside of lifecycle events', happened({ ...events.custom, appVisibilityState: 0 }), /appVisibilityState is 0/],
  ['an upgrade from nothing', happened({ ...events.lifecycle, lifecycleEvent: { ...events.lifecycle.lifecycleEvent, isUpgrade: true } }), /contradicts/],
  ['another content type', track(batchBody(message(events.custom)), { 'Content-Type': 'text/plain' }), /Content-Type is "text\/plain"/],
  ['an encoding that is not sent', track(batchBody(message(events.custom)), { 'Content-Encoding': 'br' }), /Content-Encoding is "br"/],
  ['what is not compressed as it says', track(batchBody(message(events.custom)), { 'Content-Encoding': 'gzip' }), /cannot be unpacked/],
  ['no content length', track(batchBody(message(events.custom)), { 'Transfer-Encoding': 'chunked' }), /Content-Length is missing/],
  ['two logs', telemetry(logsBody(bailLog, bailLog)), /one log/],
  ['a log without metadata', telemetry(logsBody({ ...bailLog, app_metadata: undefined })), /lacks "app_metadata"/],
  ['metadata half fallback', telemetry(logsBody({ ...bailLog, app_metadata: {} })), /lacks "env_id"/],
  ['a bail without source', telemetry(logsBody({ ...bailLog, source: undefined })), /lacks "source"/],
  ['logs beside other keys', telemetry(logsBody(bailLog).replace(/}$/, ',"n":1}')), /telemetry_logs/],
  ['an unknown path', { method: 'GET', path: '/h/' }, /unknown path/, 404],
  ['a wrong method', { method: 'POST', path: '/h', body: '' }, /method POST, not GET/, 405],
  ['a body over the limit', track('x'.repeat(3e6)), /over the limit/, 413],
];

test('what is no JSON is told by its first byte that has no place', () => {
  const faults = ['¦', '[1,¦]', '[¦,1]', '[1¦ 2]', '[1¦}', '[1]¦]', '{¦1:2}', '{"a"¦,1}', '{"é":1,¦}', '{"é":[0¦1]}', '[¦"a\n"]', '["\\"¦', '[¦"\\x"]', '[¦tru', '[{}¦:1]'];
  for (const fault of faults) {
    const { problem } = parseCompactJson(fault.replace('¦', ''), 'é');
    assert.ok(problem?.endsWith(` at byte ${2 + Buffer.byteLength(fault.split('¦')[0])}`), `${fault}: ${problem}`);
  }
});

test('what is not laid down is refused, recorded and logged with the reason', async (t) => {
  const log = [];
  const service = await startService(t, { bodyLimit: 2e6, log: (line) => log.push(line) });
  for (const [name, { method, path, body, headers }, reason, status = 400] of refusals) {
    await service.reset();
    log.length = 0;
    const type = body === undefined ? {} : { 'Content-Type': 'application/json' };
    const answer = await service.send(method, path, body, { ...type, ...headers });
    assert.equal(answer.status, status, `${name}: ${answer.text}`);
    assert.match(JSON.parse(answer.text).problems.join('; '), reason, name);
    const records = await service.records();
    assert.ok(records.every((record) => !record.valid && record.answered === String(status)), name);
    assert.match(records[0].problems.join('; '), reason, name);
    assert.equal((await service.counts()).invalid, records.length, name);
    assert.match(log.join('\n'), reason, name);
  }
});

test('one bad message does not taint its batch', async (t) => {
  const service = await startService(t);
  const body = batchBody(message(events.custom), message(events.custom, { id: '1' }), message(events.touch));
  assert.equal((await service.postJson(trackPath, body)).status, 400);
  assert.deepEqual((await service.records()).map(({ valid }) => valid), [true, false, true]);
});

test('senders that break off or talk nonsense are recorded, and the service goes on', async (t) => {
  const service = await startService(t);
  const { host, port } = new URL(service.url);
  const say = (text, end) =>
    new Promise((resolve) => {
      const socket = net.connect(port, '127.0.0.1', () => socket.write(text, () => end && socket.destroy()));
      socket.on('error', () => {}).on('data', () => {}).on('close', resolve);
    });
  await say('nonsense\r\n\r\n', false);
  await say(`POST ${trackPath} HTTP/1.1\r\nHost: ${host}\r\nContent-Length: 100\r\n\r\n{"sent`, true);
  await say(`POST ${trackPath} HTTP/1.1\r\nHost: ${host}\r\nTransfer-Encoding: chunked\r\n\r\nno chunk\r\n`, false);
  await say('', true);
  const records = await service.records('?atLeast=3&waitMs=10000');
  assert.deepEqual(records.map(({ endpoint, answered }) => [endpoint, answered]), [['other', '400'], ['track', 'aborted'], ['track', 'aborted']]);
  assert.equal((await service.get(`/h?${'x'.repeat(100_000)}`)).status, 400);
});
