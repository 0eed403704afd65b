// An app on the visualizer's socket, doing what a test tells it: it announces itself, accepts when asked, and sends
// touches and pageviews with real pictures and ancestries, all in the library's own form.

import { createRequire } from 'node:module';
import { png } from './png.mjs';

const { io } = createRequire(new URL('../../../tools/capture-service/package.json', import.meta.url))('socket.io-client');

/** Where the touched button lies on the screen, in pixels of the screenshot. */
export const buttonBox = { x: 24, y: 640, width: 342, height: 52 };
const shop = [
  [0, 0, 390, 844, 0xf5f5f7],
  [0, 0, 390, 96, 0x1f3a5f],
  [24, 120, 342, 400, 0xd8c9a7],
  [24, 544, 220, 20, 0x333333],
  [24, 580, 120, 16, 0x888888],
  [24, 640, 342, 52, 0x2f7d4f],
];
export const screenPng = png(390, 844, shop);
const { x: left, y: top, width, height } = buttonBox;
export const cropPng = png(width, height, shop.map(([x, y, w, h, colour]) => [x - left, y - top, w, h, colour]));

const box = (x, y, w, h) => ({ upperLeftOrigin: { x, y }, size: { width: w, height: h } });
export const ancestry = [
  { class: 'UIApplication' },
  { class: 'UIWindowScene' },
  { class: 'UIWindow', boundingBox: box(0, 0, 390, 844) },
  { class: 'ProductController', productId: 'shirt-01' },
  { class: 'Column', boundingBox: box(0, 96, 390, 748) },
  { class: 'UIButton', accessibilityLabel: 'Add to basket', boundingBox: box(left, top, width, height) },
];

export class ScriptedApp {
  socket;
  pairCode;
  #facts;
  #messages = 0;

  /**
   * Connects to the service and announces itself. With `accepts` it accepts whatever it is asked; `onAsked(app)` is called
   * for each request, after `pairCode` was set. The test closes it.
   */
  static async start(url, { appId = '11', deviceId = '4000000001', name = 'Ada’s iPhone', accepts = true, onAsked = () => {} } = {}) {
    const app = new ScriptedApp();
    app.#facts = { appId, deviceId, deviceName: name, deviceType: 'iPhone15,2' };
    app.socket = io(`${url}/ios`, {
      path: '/socko/',
      transports: ['websocket'],
      forceNew: true,
      reconnection: false,
      extraHeaders: { '--x-kova-env-id': appId, '--x-kova-app-version': '1.0' },
    });
    app.socket.on('web_requested_pair', ({ pairCode }) => {
      app.pairCode = pairCode;
      if (accepts) app.accept();
      onAsked(app);
    });
    await new Promise((resolve, reject) => app.socket.once('connect', resolve).once('connect_error', reject));
    app.send('device_available');
    return app;
  }

  send(event, more = {}) {
    const pairCode = this.pairCode === undefined ? {} : { pairCode: this.pairCode };
    this.socket.emit(event, { ...this.#facts, ...pairCode, ...more });
  }

  /** A frame as it is, which the client's own encoder might not write. */
  sendRaw(frame) {
    this.socket.io.engine.write(frame);
  }

  accept() {
    this.send('device_accepted_pair');
  }

  /** A touch on a button; `event` goes over its event, `pageview` over its pageview, `over` over its message, `more` over the payload. */
  touch({ event = {}, pageview = {}, over = {}, ...more } = {}) {
    const touchEvent = { targetView: 'UIButton', type: 'touch', targetText: 'Add to basket', targetSelector: 'addToBasket', ...event };
    this.send('device_captured_event', {
      message: this.message({ event: { touchEvent, appVisibilityState: 2 }, ...over }, pageview),
      image_format: 'png',
      image_encoding: 'base64',
      image_data: cropPng.toString('base64'),
      full_image_data: screenPng.toString('base64'),
      view_ancestry: { ancestry },
      ...more,
    });
  }

  pageview({ pageview = {}, over = {}, ...more } = {}) {
    this.send('device_captured_event', {
      message: this.message({ pageview: {}, ...over }, pageview),
      image_format: 'png',
      image_encoding: 'base64',
      image_data: screenPng.toString('base64'),
      ...more,
    });
  }

  message(what, pageview = {}) {
    const id = String(++this.#messages).padStart(16, '0');
    return {
      id,
      envId: this.#facts.appId,
      user: { id: '73' },
      timestamp: String(1732190000000 + this.#messages),
      applicationInfo: { appName: 'Storefront', appVersion: '1.0', libraryVersion: '9.0.0' },
      deviceInfo: { carrier: '', phoneModel: 'iPhone15,2', platform: 'iOS 17.0' },
      pageviewInfo: { viewController: 'ProductController', title: 'Linen shirt', screenA11yId: '', screenA11yLabel: '', id, timestamp: '1732190000000', ...pageview },
      sessionInfo: { id: '0000000000000042', timestamp: '1732190000000' },
      ...what,
    };
  }

  leave() {
    this.send('device_left');
    this.close();
  }

  close() {
    this.socket.close();
  }
}
