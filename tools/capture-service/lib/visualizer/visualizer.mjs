// Live events of running apps, in a browser. Owns the devices, the events, the sockets of apps and pages, and the pages'
// routes. Needs npm packages, so that only a service that is to show events loads this file.

import { Server as Engine } from 'engine.io';
import { Server as SocketServer } from 'socket.io';
import { sendJson } from '../http-io.mjs';
import { comesFromElsewhere } from '../own-origin.mjs';
import { AppSockets } from './app-sockets.mjs';
import { DeviceList } from './device-list.mjs';
import { EventList, MAX_EVENTS } from './event-list.mjs';
import { PageRoutes } from './page-routes.mjs';
import { PageSockets } from './page-sockets.mjs';
import { UploadedEvents } from './uploaded-events.mjs';

const SOCKET_PATH = '/socko/';
const MAX_FRAME_BYTES = 64 * 1024 * 1024; // two screenshots in Base64, and much to spare
const FOREIGN = 'this service answers programs and pages of its own only; open its page by typing the address';
const GONE = { error: 'The device is not connected any more. Wake the Event Visualizer in the app again.' };

export class Visualizer {
  #events;
  #devices;
  #apps;
  #routes;
  #pages;
  #uploads;
  #engine;
  #server = new SocketServer();
  #upgraded = new Set();

  /**
   * `envId` is the environment that the page proposes to pair with; devices of all are welcome. `records` is the store of
   * what is uploaded.
   */
  constructor({ envId = null, pingInterval = 25_000, goneMs, maxPictureBytes, records, log }) {
    this.#engine = new Engine({ pingInterval, maxHttpBufferSize: MAX_FRAME_BYTES });
    this.#server.bind(this.#engine);
    this.#events = new EventList({ maxPictureBytes });
    this.#devices = new DeviceList({ hasEventsOf: (id) => this.#events.hasEventsOf(id), goneMs });
    this.#routes = new PageRoutes({ events: this.#events });
    this.#pages = this.#server.of('/web');
    this.#devices.on('changed', (device) => this.#pages.emit('device', device));
    this.#devices.on('removed', (id) => this.#pages.emit('device_gone', { id }));
    this.#apps = new AppSockets({
      namespace: this.#server.of('/ios'),
      devices: this.#devices,
      onEvent: (device, captured) => this.#addEvent(device, captured),
      log,
    });
    const state = () => ({ devices: this.#devices.all(), events: this.#events.summaries(), envId, limit: MAX_EVENTS });
    const requests = {
      pair: ({ device }) => this.#pair(this.#devices.find(device)),
      cancel: ({ device }) => this.#cancel(this.#devices.find(device)),
      unpair: ({ device }) => this.#unpair(this.#devices.find(device)),
      alive: () => ({}),
    };
    this.#uploads = new UploadedEvents({
      records,
      events: this.#events,
      onEvent: (device, captured) => this.#show(this.#events.add(device, captured)),
    });
    new PageSockets({ namespace: this.#pages, state, requests });
  }

  /** The root is for people who open the printed address; whatever else is sent to it is the library's mistake. */
  serves(method, path) {
    if (path === '/') return method === 'GET';
    return path === '/visualizer' || path.startsWith('/visualizer/') || path.startsWith(SOCKET_PATH);
  }

  async handle(request, response, path, query) {
    if (comesFromElsewhere(request)) {
      request.resume();
      sendJson(response, 403, { problems: [FOREIGN] });
    } else if (path.startsWith(SOCKET_PATH)) {
      this.#engine.handleRequest(request, response);
    } else {
      await this.#routes.handle(request, response, path, query);
    }
  }

  handleUpgrade(request, socket, head, path) {
    this.#upgraded.add(socket);
    socket.once('close', () => this.#upgraded.delete(socket));
    socket.on('error', () => {}); // 'close' follows
    if (comesFromElsewhere(request)) refuseUpgrade(socket, '403 Forbidden');
    else if (!path.startsWith(SOCKET_PATH)) refuseUpgrade(socket, '404 Not Found');
    else this.#engine.handleUpgrade(request, socket, head);
  }

  /** Ends all sockets, without waiting for those at their other ends. */
  async close() {
    this.#uploads.close();
    await this.#server.close();
    for (const socket of this.#upgraded) socket.destroySoon();
  }

  #addEvent(device, captured) {
    const summary = this.#events.add(device, captured);
    this.#devices.noteEvent(device);
    this.#show(summary);
    this.#uploads.noteLive(summary, device);
  }

  #show(summary) {
    this.#pages.emit('event', summary);
    this.#devices.eventsWereDropped();
  }

  #pair(device) {
    if (device === undefined || device.state === 'gone') return GONE;
    if (device.state === 'paired') return { error: 'The device is paired already.' };
    return { pairCode: this.#apps.ask(device) };
  }

  #cancel(device) {
    if (device?.state !== 'asked') return { error: 'The request is no longer open.' };
    this.#devices.cancel(device);
    return {};
  }

  #unpair(device) {
    if (device === undefined || device.state === 'gone') return GONE;
    this.#apps.close(device, 'disconnected');
    return {};
  }
}

function refuseUpgrade(socket, status) {
  socket.end(`HTTP/1.1 ${status}\r\nConnection: close\r\nContent-Length: 0\r\n\r\n`);
}
