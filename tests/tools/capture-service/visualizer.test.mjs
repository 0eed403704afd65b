import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { EventEmitter, once } from 'node:events';
import http from 'node:http';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { DeviceList } from '../../../tools/capture-service/lib/visualizer/device-list.mjs';
import { cardsOf, deviceName } from '../../../tools/capture-service/page/device-cards.mjs';
import { ancestry, buttonBox, cropPng, screenPng, ScriptedApp } from '../support/scripted-app.mjs';
import { batchBody, events as kinds, message, startService, trackPath } from './support.mjs';

const { io } = createRequire(new URL('../../../tools/capture-service/package.json', import.meta.url))('socket.io-client');
const limits = { timeout: 60_000 };
const unprintable = JSON.parse('{"toString":1,"valueOf":1,"__proto__":{"length":-1}}');

/** A service that shows events, the lines of its log, and apps and pages that end with the test. */
async function startVisualizer(t, settings = {}) {
  const changes = new EventEmitter();
  const lines = [];
  const log = (line) => changes.emit('change', lines.push(line));
  const service = await startService(t, { visualizer: { envId: '11', ...settings }, log });
  const picture = (path) =>
    fetch(service.url + path).then(async (answer) => [answer.status, answer.headers.get('content-type'), Buffer.from(await answer.arrayBuffer())]);
  return {
    ...service,
    picture,
    detail: async (id) => JSON.parse((await service.get(`/visualizer/events/${id}.json`)).text),
    lines,
    /** Resolves once the log has a line, not yet taken, that matches. */
    logged: (pattern) => until(changes, 'change', () => lines.some((line, i) => pattern.test(line) && delete lines[i])),
    startApp: async (options) => {
      const app = await ScriptedApp.start(service.url, options);
      t.after(() => app.close());
      return app;
    },
    openPage: () => openPage(t, service.url),
  };
}

/** A page without a screen: what it was told, kept up to date. */
async function openPage(t, url) {
  const socket = io(`${url}/web`, { path: '/socko/', forceNew: true, reconnection: false });
  t.after(() => socket.close());
  const page = { devices: new Map(), events: [], socket };
  const told = new EventEmitter();
  const on = (name, take) => socket.on(name, (value) => (take(value), told.emit('change')));
  on('device', (device) => page.devices.set(device.id, device));
  on('device_gone', ({ id }) => page.devices.delete(id));
  on('event', (event) => page.events.push(event));
  const [{ devices, events, ...rest }] = await once(socket, 'state');
  for (const device of devices) page.devices.set(device.id, device);
  page.events.push(...events);
  return Object.assign(page, {
    rest,
    ask: (name, argument = {}) => socket.emitWithAck(name, argument),
    until: (isTrue) => until(told, 'change', isTrue),
    /** Resolves to the device of that name in that state. */
    device: async (name, state) => {
      const find = () => [...page.devices.values()].find((device) => device.name === name && device.state === state);
      await until(told, 'change', find);
      return find();
    },
    pair: async (name) => {
      const { id } = await page.device(name, 'available');
      await page.ask('pair', { device: id });
      return page.device(name, 'paired');
    },
  });
}

async function startPaired(t, settings) {
  const service = await startVisualizer(t, settings);
  const page = await service.openPage();
  const app = await service.startApp({ name: 'Ada' });
  await page.pair('Ada');
  return { service, page, app };
}

/** A WebSocket that never says anything once it is open. Resolves to { status, socket? }; the service ends it. */
function upgrade(url, headers = {}) {
  const websocket = { Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': 13, 'Sec-WebSocket-Key': 'AAAAAAAAAAAAAAAAAAAAAA==' };
  return new Promise((resolve, reject) => {
    const request = http.get(`${url}/socko/?EIO=4&transport=websocket`, { headers: { ...websocket, ...headers } });
    request.on('response', ({ statusCode: status }) => resolve({ status })).on('error', reject);
    request.on('upgrade', ({ statusCode: status }, socket) => resolve({ status, socket: socket.on('error', () => {}) }));
  });
}

async function until(emitter, name, isTrue) {
  while (!isTrue()) await once(emitter, name);
}

test('a device pairs, and what it sends reaches every page, also one that is opened later', limits, async (t) => {
  const service = await startVisualizer(t, { goneMs: 0 });
  const page = await service.openPage();
  assert.deepEqual(page.rest, { envId: '11', limit: 500 });
  const app = await service.startApp({ name: 'Ada', accepts: false });
  const asked = once(app.socket, 'web_requested_pair');
  const { id, appId, appVersion, type } = await page.device('Ada', 'available');
  assert.deepEqual([appId, appVersion, type], ['11', '1.0', 'iPhone15,2']);
  const { ok, pairCode } = await page.ask('pair', { device: id });
  assert.ok(ok);
  assert.match(pairCode, /^\d{4}$/);
  assert.deepEqual(await asked, [{ pairCode }]);
  assert.equal((await page.device('Ada', 'asked')).pairCode, pairCode);
  app.accept();
  await page.device('Ada', 'paired');
  assert.match((await page.ask('pair', { device: id })).error, /paired already/);

  app.touch();
  app.pageview();
  const gesture = { type: 'UISwipeGestureRecognizer', targetText: '', targetA11yLabel: 'x'.repeat(300), targetSelector: undefined };
  app.touch({ event: gesture, pageview: { title: '' }, full_image_data: undefined });
  await page.until(() => page.events.length === 3 && page.devices.get(id).events === 3);
  const facts = page.events.map(({ receivedAt, ...rest }) => rest);
  const where = { controller: 'ProductController', session: '0000000000000042', user: '73', variable: null };
  const from = { device: id, deviceName: 'Ada', uploaded: false, hasScreen: true, ...where };
  const ids = (number) => ({ id: number, message: `000000000000000${number}`, pageview: `000000000000000${number}` });
  assert.deepEqual(facts, [
    { ...ids(1), ...from, time: 1732190000001, kind: 'touch', name: 'touch', text: 'Add to basket', selector: 'addToBasket', screen: 'Linen shirt', hasCrop: true, hasAncestry: true },
    { ...ids(2), ...from, time: 1732190000002, kind: 'pageview', name: 'pageview', text: 'Linen shirt', selector: null, screen: 'Linen shirt', hasCrop: false, hasAncestry: false },
    { ...ids(3), ...from, time: 1732190000003, kind: 'gesture', name: gesture.type, text: 'x'.repeat(200), selector: null, screen: 'ProductController', hasCrop: false, hasAncestry: true },
  ]);
  const { summary, message, viewAncestry, boundingBox } = await service.detail(1);
  assert.deepEqual([summary, viewAncestry, boundingBox], [page.events[0], { ancestry }, buttonBox]);
  assert.equal(message.event.touchEvent.targetText, 'Add to basket');
  assert.deepEqual(await service.picture('/visualizer/events/1/screen.png'), [200, 'image/png', screenPng]);
  assert.deepEqual(await service.picture('/visualizer/events/1/crop.png'), [200, 'image/png', cropPng]);
  assert.deepEqual(await service.picture('/visualizer/events/3/screen.png'), [200, 'image/png', cropPng]);
  assert.equal((await service.get('/visualizer/events/2/crop.png')).status, 404);
  const matches = async (query) => JSON.parse((await service.get(`/visualizer/events/1/matches.json${query}`)).text);
  const { definition, ...counted } = await matches('?node=5');
  assert.deepEqual([definition.classPath.length, definition.label, counted], [6, 'Add to basket', { ids: [1, 3], of: 3 }]);
  for (const query of ['', '?node=6', '?node=-1']) assert.match((await matches(query)).problems[0], /no such node/, query);

  const later = await service.openPage();
  assert.deepEqual([later.events, later.devices], [page.events, page.devices]);
  app.leave();
  assert.equal((await page.device('Ada', 'gone')).events, 3);
  const bob = await service.startApp({ name: 'Bob' });
  await page.device('Bob', 'available');
  bob.close();
  await page.until(() => page.devices.size === 1); // one that is gone stays with its events only
  assert.ok(page.devices.has(id));
  assert.match((await page.ask('pair', { device: id })).error, /not connected/);
});

test('custom events stand beside the live ones of their session once they were uploaded, each once', limits, async (t) => {
  const { service, page, app } = await startPaired(t);
  const upload = (id, event, session = '0000000000000042') => {
    const sessionInfo = { id: session, timestamp: '1732190000000' };
    return service.postJson(trackPath, batchBody(message(event, { id: `000000000000000${id}`, sessionInfo })));
  };
  const custom = (type) => ({ customEvent: { type }, appVisibilityState: 2 });
  await upload(1, custom('Before'));
  app.touch();
  await page.until(() => page.events.length === 2);
  await upload(2, custom('After'));
  await upload(2, custom('After'));
  await upload(3, custom('Of somebody else'), '0000000000000043');
  await upload(4, kinds.touch); // came over the socket, too
  await upload(5, custom('Last'));
  await page.until(() => page.events.length === 4);
  assert.deepEqual(
    page.events.map(({ kind, name, uploaded, deviceName, hasScreen }) => [kind, name, uploaded, deviceName, hasScreen]),
    [['touch', 'touch', false, 'Ada', true], ...['Before', 'After', 'Last'].map((name) => ['custom', name, true, 'Ada', false])],
  );
});

test('an event counts only from the device that was asked, once it accepted with its own code', limits, async (t) => {
  const service = await startVisualizer(t);
  const page = await service.openPage();
  const ada = await service.startApp({ name: 'Ada', accepts: false });
  const bob = await service.startApp({ name: 'Bob', deviceId: '2', accepts: false });
  const [{ id: adasId }, { id: bobsId }] = [await page.device('Ada', 'available'), await page.device('Bob', 'available')];
  const refused = async (app, reason, event, more) => {
    if (event === 'touch') app.touch(more);
    else app.send(event, more);
    await service.logged(reason);
  };

  await refused(ada, /available, not paired/, 'touch');
  await refused(ada, /available, not asked/, 'device_accepted_pair');
  const ask = (app, id) => Promise.all([once(app.socket, 'web_requested_pair'), page.ask('pair', { device: id })]);
  await Promise.all([ask(ada, adasId), ask(bob, bobsId)]);
  assert.notEqual(ada.pairCode, bob.pairCode);
  await refused(ada, /asked, not paired/, 'touch');
  await refused(bob, /not the one that the device was asked with/, 'device_accepted_pair', { pairCode: ada.pairCode });
  await refused(bob, /it says that it is device 4000000001, not 2/, 'device_accepted_pair', { deviceId: '4000000001' });
  const firstCode = ada.pairCode;
  await ask(ada, adasId);
  await refused(ada, /not the one that the device was asked with/, 'device_accepted_pair', { pairCode: firstCode });
  ada.accept();
  await page.device('Ada', 'paired');
  await refused(bob, /asked, not paired/, 'touch', { pairCode: ada.pairCode });
  await refused(ada, /not the one that the device was paired with/, 'touch', { pairCode: bob.pairCode });
  await refused(ada, /appId is not that of the header/, 'touch', { appId: '12' });
  ada.touch();
  await page.until(() => page.events.length > 0);
  assert.deepEqual(page.events.map(({ deviceName }) => deviceName), ['Ada']);

  // A request that is taken back leaves the device where it was; one that accepts it all the same is sent away, and one that
  // closes its socket was told to reject it.
  const carl = await service.startApp({ name: 'Carl', deviceId: '3', accepts: false });
  const { id: carlsId } = await page.device('Carl', 'available');
  await ask(carl, carlsId);
  await page.ask('cancel', { device: carlsId });
  carl.close();
  assert.equal((await page.device('Carl', 'gone')).note, 'refused');
  assert.deepEqual(await page.ask('cancel', { device: bobsId }), { ok: true });
  assert.equal((await page.device('Bob', 'available')).note, 'cancelled');
  await ask(bob, bobsId);
  assert.equal((await page.device('Bob', 'asked')).note, null);
  await page.ask('cancel', { device: bobsId });
  assert.match((await page.ask('cancel', { device: adasId })).error, /no longer open/);
  const ended = [once(bob.socket, 'disconnect'), once(ada.socket, 'disconnect')];
  bob.accept();
  assert.deepEqual(await page.ask('unpair', { device: adasId }), { ok: true });
  assert.equal((await page.device('Bob', 'gone')).note, 'late');
  assert.equal((await page.device('Ada', 'gone')).note, 'disconnected');
  await Promise.all(ended);
  await service.logged(/the request was cancelled/);
  assert.deepEqual([service.lines.filter(Boolean), page.events.length], [[], 1]);
});

test('pages of other sites and names of other hosts are turned away', limits, async (t) => {
  const service = await startVisualizer(t);
  const polling = '/socko/?EIO=4&transport=polling';
  const { port } = new URL(service.url);
  const own = { Origin: `http://localhost:${port}`, Host: `LocalHost:${port}`, 'Sec-Fetch-Site': 'same-origin' };
  const foreign = ['cross-site', 'same-site', 'unheard-of'].map((site) => ({ 'Sec-Fetch-Site': site }));
  foreign.push({ Origin: 'http://example.com' }, { Origin: 'null' }, { Host: `example.com:${port}` });
  for (const path of ['/visualizer/', '/received/', '/received/settings.json', polling]) {
    for (const headers of foreign) assert.equal((await service.send('GET', path, undefined, headers)).status, 403, path);
    assert.equal((await service.send('GET', path, undefined, own)).status, 200, path);
  }
  for (const headers of foreign) assert.deepEqual(await upgrade(service.url, headers), { status: 403 });
  assert.equal((await upgrade(service.url, own)).status, 101);
  assert.equal((await service.send('GET', '/visualizer/', undefined, { 'Sec-Fetch-Site': 'none' })).status, 200);

  for (const path of ['/visualizer/../package.json', '/visualizer/.%2e/package.json', '/visualizer/..%2fpackage.json', '/visualizer/none.js']) {
    assert.equal((await service.get(path)).status, 404, path);
  }
  assert.equal((await service.send('POST', '/visualizer/')).status, 405);
  const root = await fetch(service.url, { redirect: 'manual' });
  assert.deepEqual([root.status, root.headers.get('location'), await service.records()], [302, '/visualizer/', []]);
  assert.equal((await (await startService(t)).get('/visualizer/')).status, 404); // unless it was asked for
});

test('the last 500 events are kept, and pictures up to their limit, at more than 50 a second', limits, async (t) => {
  const { service, page, app } = await startPaired(t, { maxPictureBytes: 100 * (screenPng.length + cropPng.length) });
  const begun = performance.now();
  for (let i = 0; i < 600; i++) app.touch();
  await page.until(() => page.events.length === 600);
  const rate = 600 / ((performance.now() - begun) / 1000);
  assert.ok(rate > 50, `${rate} a second`);
  assert.ok(page.events.every(({ id }, index) => id === index + 1));

  const { events, devices } = await service.openPage();
  assert.deepEqual([events.length, events[0].id, events.at(-1).id], [500, 101, 600]);
  assert.equal([...devices.values()][0].events, 600);
  assert.deepEqual([...new Set(events.slice(0, 400).map(({ hasScreen }) => hasScreen))], [false]);
  assert.ok(events.slice(400).every(({ hasScreen, hasCrop }) => hasScreen && hasCrop));
  assert.equal((await service.get('/visualizer/events/100.json')).status, 404);
  assert.equal((await service.detail(101)).message.event.touchEvent.type, 'touch');
  assert.equal((await service.get('/visualizer/events/500/screen.png')).status, 404);
  assert.equal((await service.picture('/visualizer/events/501/screen.png'))[0], 200);
});

test('payloads of a wrong form, size or depth are refused with the reason', limits, async (t) => {
  const { service, page, app } = await startPaired(t);
  const refused = async (reason, ...payload) => {
    app.socket.emit('device_captured_event', ...payload);
    await service.logged(reason);
  };
  for (const payload of [[], [null], ['text'], [[1]], [Buffer.from('x')], [() => {}]]) await refused(/not an object|lacks "appId"/, ...payload);
  const sender = { appId: '11', deviceId: '4000000001', deviceName: 'Ada', deviceType: '', pairCode: app.pairCode };
  await refused(/deviceId is .* not a device id/, { ...sender, deviceId: unprintable });
  await refused(/deviceName is .* not a string/, { ...sender, deviceName: 'x'.repeat(20_000) });
  await refused(/its message is not an object/, { ...sender, message: [] });
  await refused(/over the limit/, { ...sender, message: { text: 'x'.repeat(5_000_000) } });
  app.send('no_such_\u001b[31m');
  await service.logged(/refused "no_such_\\u001b\[31m" of d1: no such event/);
  const start = `2/ios,["device_captured_event",${JSON.stringify(sender).slice(0, -1)},"message":`;
  for (const depth of [300, 100_000]) {
    app.sendRaw(`${start}${'['.repeat(depth)}${']'.repeat(depth)}}]`);
    await service.logged(/nested/);
  }
  app.touch();
  await page.until(() => page.events.length > 0);
  assert.equal(page.events[0].id, 1);
});

test('odd members of a message are shown as far as they can be, and odd pictures are not kept', limits, async (t) => {
  const { service, page, app } = await startPaired(t);
  const html = Buffer.from('<script>alert(1)</script>');
  const disguised = Buffer.concat([screenPng.subarray(0, 12), html]);
  const huge = Buffer.from(screenPng);
  huge.writeUInt32BE(1_000_000, 16);
  const base64 = screenPng.toString('base64');
  const pictures = [7, unprintable, '', html.toString('base64'), disguised.toString('base64'), huge.toString('base64'), `${base64.slice(0, 80)}\n${base64.slice(80)}`, 'A'.repeat(30 * 1024 * 1024)];
  for (const image of pictures) {
    app.touch({ event: { type: unprintable, targetText: 7 }, pageview: { title: unprintable }, image_data: image, full_image_data: image, view_ancestry: unprintable });
    for (const part of [/view_ancestry is not/, /: image_data is/, /: full_image_data is/]) await service.logged(part);
  }
  app.touch({ image_format: 'svg' });
  app.touch({ message: unprintable, view_ancestry: { ancestry: [null, unprintable] } });
  await page.until(() => page.events.length === pictures.length + 2);
  for (const { id, kind, hasScreen, hasCrop } of page.events.slice(0, pictures.length + 1)) {
    assert.deepEqual([kind, hasScreen, hasCrop], [id > pictures.length ? 'touch' : 'gesture', false, false]);
    assert.equal((await service.get(`/visualizer/events/${id}/screen.png`)).status, 404);
  }
  const odd = await service.detail(page.events.at(-1).id);
  assert.deepEqual([odd.message, odd.summary.kind, odd.boundingBox], [unprintable, 'other', undefined]);
});

test('pages are not trusted more, and what breaks the transport ends that connection and no other', limits, async (t) => {
  const { service, page, app } = await startPaired(t);
  for (const argument of [null, 'x', [], { device: unprintable }, { device: '__proto__' }, {}]) {
    assert.equal((await page.ask('pair', argument)).ok, false);
  }
  page.socket.emit('pair', { device: 'd1' });
  page.socket.emit('pair');

  const breaches = [
    (bad) => bad.sendRaw(`2/ios,["device_available","${'x'.repeat(64 * 1024 * 1024)}"]`),
    (bad) => bad.sendRaw('2/ios,{"not":"an event"}'),
    (bad) => {
      bad.sendRaw(`51-/ios,["device_available",${'['.repeat(100_000)}{"_placeholder":true,"num":0}${']'.repeat(100_000)}]`);
      bad.sendRaw(Buffer.from('x'));
    },
  ];
  for (const breach of breaches) {
    const bad = await service.startApp({ name: 'Bad' });
    const { id } = await page.device('Bad', 'available');
    breach(bad);
    await page.until(() => page.devices.get(id).state === 'gone');
  }
  app.touch();
  await page.until(() => page.events.length > 0);
});

test('devices of one name keep their cards, and one that returns gets that of the one that left last', () => {
  const devices = new DeviceList({ hasEventsOf: () => true });
  const arrive = (id, name = 'Ada') => devices.add(id, { appId: '11', name, type: 'iPhone' });
  const leave = (id) => devices.leave(devices.find(id), 'left');
  const shown = () => cardsOf(devices.all()).map(({ device, visits }) => [deviceName(device), ...visits.map(({ id }) => id)].join(' '));
  for (const id of ['d1', 'd2']) arrive(id);
  arrive('d3', 'Grace');
  assert.deepEqual(shown(), ['Ada d1', 'Ada (2) d2', 'Grace d3']);
  leave('d2');
  arrive('d4');
  leave('d1');
  arrive('d5');
  arrive('d6');
  assert.deepEqual(shown(), ['Ada d1 d5', 'Ada (2) d2 d4', 'Grace d3', 'Ada (3) d6']);
});

test('no two devices are asked with the same code', () => {
  const devices = new DeviceList({ hasEventsOf: () => false });
  const codes = Array.from({ length: 1000 }, (_, id) => (devices.add(id, {}), devices.ask(devices.find(id))));
  assert.equal(new Set(codes).size, 1000);
});

test('the program prints where the page is, pings apps, and ends at once with apps connected', { timeout: 20_000 }, async (t) => {
  const program = fileURLToPath(new URL('../../../tools/capture-service/capture-service.mjs', import.meta.url));
  const child = spawn(process.execPath, [program, '--visualizer', '--ping-interval', '20'], { stdio: ['ignore', 'pipe', 'ignore'] });
  t.after(() => child.kill('SIGKILL'));
  let output = '';
  child.stdout.setEncoding('utf8').on('data', (text) => (output += text));
  await until(child.stdout, 'data', () => /dashboard/.test(output));
  const [, url, page] = /^capture-service listening on (\S+)\ndashboard at (\S+)\n$/.exec(output);
  assert.equal(page, `${url}/visualizer/`);
  assert.equal((await fetch(page)).status, 200);
  const app = await ScriptedApp.start(url);
  t.after(() => app.close());
  await once(app.socket.io, 'ping');
  const { socket } = await upgrade(url);
  t.after(() => socket.destroy());
  const ended = Promise.all([once(child, 'exit'), once(app.socket, 'disconnect')]);
  child.kill('SIGTERM');
  assert.deepEqual((await ended)[0], [0, null]);
});
