// What the tests of the capture service share: a running service, a client on real sockets, and requests as the library
// sends them.

import http from 'node:http';
import { Service } from '../../../tools/capture-service/lib/service.mjs';

/** A service on a free port for the length of one test. */
export async function startService(t, settings = {}) {
  const service = new Service(settings);
  const url = await service.start();
  const agent = new http.Agent({ keepAlive: true, maxSockets: 1 });
  t.after(async () => {
    agent.destroy();
    await service.stop();
  });
  const send = (method, path, body, headers) => request({ url, agent, method, path, body, headers });
  const json = async (method, path, value) => JSON.parse((await send(method, path, value && JSON.stringify(value))).text);
  return {
    url,
    send,
    get: (path) => send('GET', path),
    postJson: (path, text, headers) => send('POST', path, text, { 'Content-Type': 'application/json', ...headers }),
    counts: () => json('GET', '/_/counts'),
    records: async (query = '') => (await json('GET', `/_/records${query}`)).records,
    behave: (setting) => json('POST', '/_/behaviour', setting),
    reset: () => json('POST', '/_/reset'),
  };
}

/** Resolves to { status, text } once the answer is complete; rejects when the connection fails. */
export function request({ url, agent, method = 'GET', path, body, headers = {} }) {
  return new Promise((resolve, reject) => {
    const length = body === undefined || headers['Transfer-Encoding'] ? {} : { 'Content-Length': Buffer.byteLength(body) };
    const sent = http.request(url, { agent, method, path, headers: { ...length, ...headers } }, (response) => {
      let text = '';
      response.setEncoding('utf8').on('data', (chunk) => (text += chunk));
      response.on('error', reject).on('end', () => resolve({ status: response.statusCode, text }));
    });
    sent.on('error', reject).end(body);
  });
}

const base = 'a=11&s=0000000000000042&b=ios&tv=3.0&lv=9.0.0';
export const pageviewUrl =
  `/h?${base}&u=1234567890123456&i=ann%40example.com&m=Shop&p=1.0&g=T%26Co&o=iPhone15%2C2&f=iOS%2017.0` +
  '&vid=6F9619FF-8B86-D011-B42D-00CF4FC964FF&z=2&ts=1732190000000&v=0000000000000007&h=CartViewController&t=Caf%C3%A9&d=&y=' +
  '&sp=h&sp=HomeViewController&sp=t&sp=100%2525&k=plan%2520type&k=pro%2526more&st=1732190000123';
export const identifyUrl = `/api/identify_v3?${base}&u=73&i=ann%40example.com&v=0000000000000007&st=1732190000123`;
export const userPropertiesUrl = `/api/add_user_properties_v3?${base}&u=73&v=0000000000000007&_plan%20type=a%26b&__proto__=x&st=1732190000123`;
export const trackPath = '/api/integrations/ios/track';
export const telemetryPath = '/api/mobile_telemetry';

/** A complete message around an event; `changes` go over it, and a change to undefined takes a key away. */
export function message(event, changes = {}) {
  return {
    id: '0000000000000001',
    envId: '11',
    user: { id: '73', identity: 'ann@example.com' },
    timestamp: '1732190000000',
    applicationInfo: { appName: 'Shop', appVersion: '1.0', libraryVersion: '9.0.0' },
    deviceInfo: { carrier: '', phoneModel: 'iPhone15,2', platform: 'iOS 17.0' },
    pageviewInfo: { viewController: 'Cart', title: '', screenA11yId: '', screenA11yLabel: '', id: '0000000000000007', timestamp: '1732190000000', aisle: 3 },
    sessionInfo: { id: '0000000000000042', timestamp: '1732190000000' },
    properties: { plan: { string: 'pro' } },
    event,
    ...changes,
  };
}

export const events = {
  custom: { customEvent: { type: 'Checkout', customProperties: { trial: { bool: true }, note: { string: 'a "b" \\ {c} é' } } }, appVisibilityState: 2 },
  source: { sourceEvent: { type: 'tap', source: 'web', sourceProperties: {} }, appVisibilityState: 1 },
  sourceCustom: { sourceCustomEvent: { type: 'tap', source: 'web', sourceProperties: { n: { string: '3' } } }, appVisibilityState: 2 },
  touch: {
    touchEvent: { type: 'touch', targetView: 'UIButton', targetText: 'Buy', viewAncestry: { ancestry: [{ class: 'UIButton', aisle: 3 }] } },
    appVisibilityState: 2,
  },
  lifecycle: {
    lifecycleEvent: { previousVersionCode: '<null>', previousBuildType: '<null>', currentVersionCode: '1.0', currentBuildType: '1', isUpgrade: false },
    appVisibilityState: 0,
  },
};

export const batchBody = (...messages) => `{"sentTime": "1732190000123", "messages": ${JSON.stringify(messages)}}`;

export const bailLog = {
  custom_message: 'NSRangeException: out of range',
  source: 'KovaTracker/start',
  event_type: 'kova bailed',
  log_type: 'error',
  sdk_metadata: { source: 'ios', platform_type: 'ios', native_sdk_version: '9.0.0' },
  device_metadata: { os_version: '17.0', device_model: 'iPhone15,2' },
  app_metadata: { app_identifier: 'Shop', version_string: '1.0', env_id: '11' },
};
export const logsBody = (...logs) => JSON.stringify({ telemetry_logs: logs });
