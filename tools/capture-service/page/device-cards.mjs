// Devices as people see them. Each connection is a device of its own to the service; one that returns is the same to the
// person who holds it.

/** Of several with one name, all but the first have a number. */
export function deviceName({ name, type, card }) {
  const called = name || type || 'Unnamed device';
  return card > 1 ? `${called} (${card})` : called;
}

/** Cards {key, device, visits}, in order of arrival; the latest of the visits is the device. */
export function cardsOf(devices) {
  const cards = new Map();
  for (const device of devices) {
    const key = JSON.stringify([device.appId, device.name, device.type, device.card]);
    const visits = [...(cards.get(key)?.visits ?? []), device];
    cards.set(key, { key, device, visits });
  }
  return [...cards.values()];
}
