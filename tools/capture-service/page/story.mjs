// Events in the order in which they happened, and in scenes: what was done on one screen, in one go.

const GAP_MS = 5000; // that is worth a line of its own
const LATE_MS = 2000; // a live event comes sooner: one that seems later has another clock

/**
 * When the event happened. An installation says when the app was installed, which may be long ago; it stands where it
 * arrived.
 */
export const happenedAt = (summary) =>
  summary.kind === 'other' && summary.name === 'install' ? summary.receivedAt : (summary.time ?? summary.receivedAt);

/** Puts the event in its place among others, oldest first. Of two at the same time the later arrival comes later. */
export function insertByTime(events, summary) {
  const at = happenedAt(summary);
  let index = events.length;
  while (index > 0 && happenedAt(events[index - 1]) > at) index--;
  events.splice(index, 0, summary);
}

/**
 * The event to look at while the newest is followed; null when there is none. It is the newest by its own time, as on top of
 * the list, unless a clock is ahead of the clock of what came in live after it: that would hold the page for as long.
 */
export function newestOf(events) {
  const arrived = [...events].sort((one, other) => one.id - other.id);
  const isNewer = (summary, newest) => {
    const late = happenedAt(newest) - happenedAt(summary);
    return late <= 0 || (late > LATE_MS && !summary.uploaded);
  };
  return arrived.reduce((newest, summary) => (!newest || isNewer(summary, newest) ? summary : newest), null);
}

const sessionKey = ({ device, session, user }) => JSON.stringify([session ?? device, user]);
const sceneKeys = new WeakMap(); // by summary: the list asks each time that an event arrives

function sceneKey(summary) {
  let key = sceneKeys.get(summary);
  if (key === undefined) {
    key = JSON.stringify([sessionKey(summary), summary.pageview ?? summary.screen]);
    sceneKeys.set(summary, key);
  }
  return key;
}

/**
 * The scenes of events that are given oldest first, newest first: {key, beginsSession, events, gaps}. The first event's facts
 * are the scene's. `gaps` are the milliseconds to the next older event, of those that are long.
 */
export function scenesOf(events) {
  const scenes = [];
  for (let index = events.length - 1; index >= 0; index--) {
    const summary = events[index];
    const key = sceneKey(summary);
    let scene = scenes.at(-1);
    if (scene?.key !== key) {
      const above = scene?.events[0];
      scene = { key, beginsSession: !above || sessionKey(above) !== sessionKey(summary), events: [], gaps: new Map() };
      scenes.push(scene);
    }
    scene.events.push(summary);
    const gap = index > 0 ? happenedAt(summary) - happenedAt(events[index - 1]) : 0;
    if (gap >= GAP_MS) scene.gaps.set(summary.id, gap);
  }
  return scenes;
}
