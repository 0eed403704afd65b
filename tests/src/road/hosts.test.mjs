// From a host's call to what the capture service stored: a process of its own, real threads, real sockets, kill -9.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { BRIEFLY, Road, nameOf } from './road.mjs';

const limits = { timeout: 60_000 };

// The service refuses what is not written as it should be, down to the byte.
test('every kind of event and pixel arrives with its user, session and pageview', limits, async (t) => {
  const road = await Road.open(t);
  const host = await road.launch({ version: '1.0', isCompressed: true });
  const user = { id: await host.call('userId') };
  const session = await host.call('sessionId');
  await host.call('addEventProperties', { theme: 'dark', beta: true });
  await host.call('track', 'Check "out" é', { plan: 'pro', trial: true, seats: 3, price: 2.5 });
  await host.call('frameworkAutocaptureEvent', 'tap', 'wrapper', { component: '<Button>' });
  await host.call('frameworkTrack', 'Signed up', { from: 'ad & banner' }, 'wrapper', { major: 2 });
  await host.call('addUserProperties', { 'favourite colour': 'grün & blau', newsletter: false });
  await host.call('background');
  await host.call('foreground');
  await host.call('identify', 'ann lee@example.com');
  await host.call('changeInterval', BRIEFLY);

  assert.deepEqual(await road.parameters('h', 'z', 2), ['0', '2']);
  assert.deepEqual(await road.parameters('h', 'm'), ['Road & Rail', 'Road & Rail']);
  assert.deepEqual(await road.parameters('user-properties', '_favourite colour', 1), ['grün & blau']);
  assert.deepEqual(await road.parameters('identify', 'i', 1), ['ann lee@example.com']);
  const records = await road.records('track', 4);
  assert.deepEqual(records.map(({ compressed }) => compressed), [true, true, true, true]);
  const messages = records.map(({ message }) => message);
  assert.deepEqual(messages.map(nameOf), ['lifecycleEvent', 'Check "out" é', 'tap', 'Signed up']);
  assert.deepEqual(messages[1].event.customEvent.customProperties.price, { string: '2.5' });
  const [pageview] = await road.parameters('h', 'v');
  for (const message of messages) {
    assert.deepEqual([message.user, message.sessionInfo.id, message.pageviewInfo.id], [user, session, pageview]);
    if (message === messages[0]) continue;
    assert.deepEqual(message.properties, { theme: { string: 'dark' }, beta: { bool: true } });
  }
});

test('user and properties come back, and what was queued is sent once', limits, async (t) => {
  const road = await Road.open(t);
  const before = await road.launch({ version: '1.0', isOnline: false });
  await before.call('identify', 'ann@example.com');
  await before.call('addEventProperties', { seat: '12A' });
  await before.call('track', 'Offline');
  await before.call('background');
  const ann = { id: await before.call('userId'), identity: 'ann@example.com' };
  await before.exit();

  const host = await road.launch({ version: '1.1' });
  assert.equal(await host.call('identity'), 'ann%40example.com');
  await host.call('track', 'Online');
  await host.call('changeInterval', BRIEFLY);
  const messages = await road.messages(4);
  assert.deepEqual(messages.map(nameOf), ['lifecycleEvent', 'Offline', 'lifecycleEvent', 'Online']);
  assert.notEqual(messages[3].sessionInfo.id, messages[1].sessionInfo.id);
  const { previousVersionCode, isUpgrade } = messages[2].event.lifecycleEvent;
  assert.deepEqual([previousVersionCode, isUpgrade], ['1.0', true]);
  assert.deepEqual(messages.map(({ user }) => user), [{ id: ann.id }, ann, ann, ann]);
  assert.deepEqual(messages[3].properties, { seat: { string: '12A' } });
  assert.deepEqual(await road.parameters('h', 'z', 2), ['1', '0']);
  await road.flush(host);
  await host.exit();
  assert.deepEqual(await road.messagesAfterRelaunch(), []);
  assert.equal((await road.records('identify')).length, 1);
});

for (const how of ['callAndDie', 'callAndExit']) {
  for (const isHeld of [false, true]) {
    test(`what was called is kept at once: ${how}, ${isHeld ? 'with the queue held' : 'however far the queue has come'}`, limits, async (t) => {
      const road = await Road.open(t);
      const host = await road.launch({ isOnline: false });
      const id = await host.call('userId');
      const session = await host.call('sessionId');
      await host.endWithCalls(how, isHeld);
      const ended = Date.now();
      const messages = await road.messagesAfterRelaunch();
      assert.deepEqual(messages.map(nameOf), Array.from({ length: 21 }, (_, number) => String(number)));
      assert.equal(new Set(messages.map((message) => message.id)).size, 21);
      for (const [index, { user, sessionInfo, properties, timestamp, event }] of messages.entries()) {
        const isFirst = index === 0;
        const number = index % 2 === 0 ? `${index}` : `(\n    ${index}\n)`;
        assert.deepEqual(event.customEvent.customProperties, isFirst ? undefined : { number: { string: number } });
        assert.deepEqual(user, isFirst ? { id } : { id, identity: 'ann@example.com' });
        assert.deepEqual(properties, isFirst ? undefined : { seat: { string: '12A' } });
        assert.equal(sessionInfo.id, session);
        assert.ok(timestamp <= ended);
      }
      assert.deepEqual(await road.parameters('user-properties', '_colour'), ['green']);
      assert.deepEqual(await road.messagesAfterRelaunch(), []);
      assert.deepEqual(await road.records('telemetry'), [], 'nothing failed on the way');
    });
  }
}

test('a press is kept with what was touched and with its action', limits, async (t) => {
  const road = await Road.open(t);
  const host = await road.launch({ isOnline: false });
  await host.endWithCalls('pressAndDie');
  const [{ event: { touchEvent }, ...rest }, ...others] = await road.messagesAfterRelaunch();
  assert.deepEqual([touchEvent.targetSelector, others], ['pay', []], JSON.stringify(rest));
  const classes = touchEvent.viewAncestry.ancestry.map((node) => node.class);
  assert.deepEqual([classes.at(-1), touchEvent.targetView], ['UIButton', 'UIButton']);
});

// In flight when the process ends: the first pixel and the first batch. Waiting behind them: a pixel and a batch.
for (const end of ['is killed', 'exits']) {
  test(`a host that ${end} leaves at once and loses nothing`, limits, async (t) => {
    const road = await Road.open(t);
    await road.behave({ mode: 'silent' });
    const host = await road.launch({ isOnline: false });
    await host.call('addUserProperties', { colour: 'green' });
    await host.call('track', 'In flight');
    await host.call('online', true);
    await host.call('changeInterval', 15);
    const [{ id }] = await road.messages(1);
    const [pageview] = await road.parameters('h', 'st', 1);
    await host.call('track', 'Waiting');
    const begun = performance.now();
    await (end === 'exits' ? host.exit() : host.kill());
    const taken = performance.now() - begun;
    t.diagnostic(`${taken} milliseconds`);
    assert.ok(taken < 5000, `${taken} ms`); // far less than an answer that never comes

    await road.behave({ mode: 'normal' });
    const messages = await road.messagesAfterRelaunch();
    assert.deepEqual(messages.map(nameOf), ['In flight', 'Waiting']);
    assert.equal(messages[0].id, id);
    assert.deepEqual(await road.parameters('user-properties', '_colour', 1), ['green']);
    // The relaunched host has a pageview of its own.
    const pageviews = await road.parameters('h', 'st', 3);
    assert.equal(pageviews.filter((sent) => sent === pageview).length, 2);
  });
}

test('a shutdown stores what it cannot send in time', limits, async (t) => {
  const road = await Road.open(t);
  const cases = [
    ['Sent', {}, 'normal', 10, [true, true]],
    ['Offline', { isOnline: false }, 'normal', 10, [true, false]],
    ['Unanswered', {}, 'silent', 0.5, [true, false]],
    ['Without a pageview', { hasPageview: false }, 'normal', 10, [true, false]],
  ];
  for (const [event, settings, mode, seconds, storedAndSent] of cases) {
    await road.behave({ mode });
    const host = await road.launch(settings);
    assert.deepEqual(await host.call('leave', event, seconds), storedAndSent, event);
    await host.call('track', 'Too late');
    await host.kill();
  }
  await road.behave({ mode: 'normal' });
  await road.messagesAfterRelaunch();
  const names = new Set((await road.messages()).map(nameOf));
  for (const [event] of cases) assert.ok(names.has(event), event);
  assert.ok(!names.has('Too late'));
});

test('the same tool in each language tells the same story', limits, async (t) => {
  const road = await Road.open(t);
  const { IMPORTER, PYTHON_IMPORTER, LIBRARIES_OF_C } = process.env;
  const tools = [[IMPORTER, []]];
  if (PYTHON_IMPORTER) tools.push(['python3', [PYTHON_IMPORTER], { LD_LIBRARY_PATH: LIBRARIES_OF_C }]);
  for (const [number, [program, words, environment]] of tools.entries()) {
    await road.run(program, [...words, road.url, `${road.data}/${number}`], environment);
    const messages = (await road.messages(3 * (number + 1))).slice(-3);
    assert.equal(messages[0].event.lifecycleEvent.currentVersionCode, '2.1');
    assert.deepEqual(messages.slice(1).map(({ event, user }) => [event.customEvent, event.appVisibilityState, user.identity]), [
      [{ type: 'Import started', customProperties: { from: { string: 'café.csv' }, files: { string: '3' }, complete: { bool: true } } }, 2, undefined],
      [{ type: 'Import finished', customProperties: { rows: { string: '1200' }, 'dry run': { bool: false } } }, 2, 'ada'],
    ]);
  }
});
