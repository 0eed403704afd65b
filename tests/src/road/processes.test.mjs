// Several processes of one app at once, as is ordinary on a desktop.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Road, nameOf } from './road.mjs';

const limits = { timeout: 90_000 };

test('three that start and die at once leave one installation and one user, and lose and double nothing', limits, async (t) => {
  const road = await Road.open(t);
  const hosts = await Promise.all([0, 1, 2].map(() => road.launch({ version: '1.0', isOnline: false })));
  const users = await Promise.all(hosts.map((host) => host.call('userId')));
  assert.equal(new Set(users).size, 1, users.join());
  await Promise.all(hosts.map(async (host, process) => {
    for (const number of [0, 1, 2]) await host.call('track', `${process}-${number}`);
    await host.call('addUserProperties', { process: String(process) });
  }));
  await Promise.all([hosts[0].kill(), hosts[1].kill(), hosts[2].endWithCalls('callAndDie', true)]);

  const messages = await road.messagesAfterRelaunch();
  const names = messages.map(nameOf);
  const of = (process) => [0, 1, 2].map((number) => `${process}-${number}`);
  const inTurn = Array.from({ length: 21 }, (_, number) => String(number));
  assert.deepEqual([...names].sort(), ['lifecycleEvent', ...of(0), ...of(1), ...of(2), ...inTurn].sort());
  for (const own of [of(0), of(1), [...of(2), ...inTurn]]) assert.deepEqual(names.filter((name) => own.includes(name)), own);
  assert.equal(new Set(messages.map((message) => message.id)).size, messages.length);
  for (const message of messages)
    assert.equal(message.user.identity, inTurn.indexOf(nameOf(message)) > 0 ? 'ann@example.com' : undefined, nameOf(message));
  assert.deepEqual((await road.parameters('user-properties', '_process', 5)).sort(), ['0', '1', '2']);
  assert.deepEqual(await road.parameters('identify', 'i'), ['ann@example.com']);
  assert.deepEqual(await road.messagesAfterRelaunch(), []);
});

test('each keeps the user that it began with or has set, and the next start has what any has changed', limits, async (t) => {
  const road = await Road.open(t);
  const first = await road.launch({ isOnline: false });
  const second = await road.launch({ isOnline: false });
  await second.call('identify', 'ann');
  await second.call('addEventProperties', { seat: '12A' });
  await second.call('track', 'Second');
  await first.call('addEventProperties', { deck: 'B' });
  await first.call('track', 'First');
  assert.equal(await first.call('identity'), null);
  await second.kill();

  const third = await road.launch(); // while the first one lives
  assert.equal(await third.call('identity'), 'ann');
  await road.flush(third);
  const [fromSecond, fromThird] = await road.messages(2);
  assert.deepEqual([nameOf(fromSecond), fromSecond.user.identity, fromSecond.properties], ['Second', 'ann', { seat: { string: '12A' } }]);
  assert.deepEqual(fromThird.properties, { seat: { string: '12A' }, deck: { string: 'B' } });
  await first.kill();
  await third.kill();
  const [fromFirst, ...others] = await road.messagesAfterRelaunch();
  assert.deepEqual([nameOf(fromFirst), fromFirst.user.identity, fromFirst.properties], ['First', undefined, { deck: { string: 'B' } }]);
  assert.deepEqual(others, []);
});

test('what a process takes over leaves room for what it has to do itself', limits, async (t) => {
  const road = await Road.open(t);
  const first = await road.launch({ isOnline: false });
  const second = await road.launch({ isOnline: false });
  const left = Array.from({ length: 195 }, (_, number) => String(number));
  for (const number of left) await second.call('addUserProperties', { left: number });
  await second.kill();
  await first.endWithCalls('callAndDie', true);

  const third = await road.launch({ isOnline: false });
  const own = left.slice(0, 10);
  for (const number of own) await third.call('addUserProperties', { own: number });
  await third.kill();
  await road.messagesAfterRelaunch();
  assert.deepEqual(await road.parameters('identify', 'i'), ['ann@example.com']);
  assert.deepEqual(await road.parameters('user-properties', '_own'), own);
  await road.messagesAfterRelaunch();
  assert.deepEqual((await road.parameters('user-properties', '_left')).sort(), [...left].sort());
});
