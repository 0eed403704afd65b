// Devices as people see them. Each connection is a device of its own to the service; one that returns is the same to the
// person who holds it.

/**
 * Cards {key, device, visits}, in order of arrival: visits of the same app on a device of the same name and type are one card,
 * with the latest as its device. Two that are here at the same time are two devices.
 */
export function cardsOf(devices) {
  const byName = new Map();
  for (const device of devices) {
    const name = JSON.stringify([device.appId, device.name, device.type]);
    byName.set(name, [...(byName.get(name) ?? []), device]);
  }
  return [...byName].flatMap(([name, visits]) => {
    const here = visits.filter(({ state }) => state !== 'gone');
    const others = here.slice(0, -1);
    const latest = here.at(-1) ?? visits.at(-1);
    const own = visits.filter((visit) => visit === latest || visit.state === 'gone');
    return [
      ...others.map((device) => ({ key: `${name} ${device.id}`, device, visits: [device] })),
      { key: name, device: latest, visits: own },
    ];
  });
}
