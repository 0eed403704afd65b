// The apps' side: namespace "/ios". A socket is one device. What is not laid down is refused with a line of log and has
// no further effect; above all an event counts only from the very socket that was asked, once it accepted with its code.

import { show } from '../checks.mjs';
import { captureEvent } from './captured-event.mjs';
import { readPayload } from './payload.mjs';
import { shortText } from './summary.mjs';

const ENVIRONMENT_HEADER = '--x-kova-env-id';
const VERSION_HEADER = '--x-kova-app-version';

export class AppSockets {
  #sockets = new Map(); // by the device's id
  #count = 0;
  #devices;
  #onEvent;
  #log;
  // Each returns why it refuses, or nothing.
  #handlers = new Map([
    ['device_available', (id, socket, received) => this.#takeAvailable(id, socket, received)],
    ['device_accepted_pair', (id, socket, received) => this.#takeAcceptance(id, received)],
    ['device_captured_event', (id, socket, received) => this.#takeEvent(id, received)],
    ['device_left', (id) => this.#takeLeave(id)],
  ]);

  /** `onEvent(device, captured)` gets the events that count. */
  constructor({ namespace, devices, onEvent, log }) {
    this.#devices = devices;
    this.#onEvent = onEvent;
    this.#log = log;
    namespace.on('connection', (socket) => this.#connect(socket));
  }

  /** Asks the device to pair and returns the code that it must show. */
  ask(device) {
    const pairCode = this.#devices.ask(device);
    this.#sockets.get(device.id).emit('web_requested_pair', { pairCode });
    return pairCode;
  }

  /** Ends the device's connection, whatever it was asked; `why` as in the list of devices. */
  close(device, why) {
    this.#devices.leave(device, why);
    this.#sockets.get(device.id)?.disconnect(true);
  }

  #connect(socket) {
    const id = `d${++this.#count}`;
    this.#sockets.set(id, socket);
    socket.onAny((name, payload) => {
      const problem = this.#receive(id, socket, name, payload);
      if (problem !== undefined) this.#log(`visualizer: refused ${show(name)} of ${id}: ${problem}`);
    });
    socket.once('disconnect', () => {
      this.#sockets.delete(id);
      const device = this.#devices.find(id);
      if (device === undefined || device.state === 'gone') return;
      const mayBeAsking = device.state === 'asked' || device.note === 'cancelled'; // the app cannot be told that it was cancelled
      this.#devices.leave(device, mayBeAsking ? 'refused' : 'lost');
    });
  }

  #receive(id, socket, name, payload) {
    const handler = this.#handlers.get(name);
    if (handler === undefined) return 'no such event';
    const { problem, ...received } = readPayload(payload);
    if (problem !== undefined) return problem;
    const { appId, deviceId } = received.sender;
    if (appId !== socket.handshake.headers[ENVIRONMENT_HEADER]) return `appId is not that of the header ${ENVIRONMENT_HEADER}`;
    const device = this.#devices.find(id);
    if (device === undefined && name !== 'device_available') return 'the device has not announced itself';
    if (device !== undefined && deviceId !== device.deviceId) return `it says that it is device ${deviceId}, not ${device.deviceId}`;
    if (device?.state === 'gone') return 'the device has left';
    return handler(id, socket, received);
  }

  #takeAvailable(id, socket, { sender }) {
    const device = this.#devices.find(id);
    if (device !== undefined) return this.#devices.noteSeen(device);
    const { appId, deviceId, deviceName, deviceType } = sender;
    return this.#devices.add(id, {
      deviceId,
      appId,
      appVersion: shortText(socket.handshake.headers[VERSION_HEADER]) ?? '',
      name: shortText(deviceName) ?? '',
      type: shortText(deviceType) ?? '',
    });
  }

  #takeAcceptance(id, { sender }) {
    const device = this.#devices.find(id);
    if (device.note === 'cancelled') {
      this.close(device, 'late'); // it takes itself for paired, and would send what nobody asked for
      return 'the request was cancelled';
    }
    if (device.state !== 'asked') return `the device is ${device.state}, not asked`;
    if (sender.pairCode !== device.pairCode) return 'the pair code is not the one that the device was asked with';
    return this.#devices.accept(device);
  }

  #takeEvent(id, { sender, content, pictures }) {
    const device = this.#devices.find(id);
    if (device.state !== 'paired') return `the device is ${device.state}, not paired`;
    if (sender.pairCode !== device.pairCode) return 'the pair code is not the one that the device was paired with';
    const { problem, warnings, ...captured } = captureEvent(content, pictures);
    if (problem !== undefined) return problem;
    for (const warning of warnings) this.#log(`visualizer: a part of an event of ${id} is left out: ${warning}`);
    return this.#onEvent(device, captured);
  }

  #takeLeave(id) {
    return this.#devices.leave(this.#devices.find(id), 'left');
  }
}
