// What the service keeps of one event.

const LOAD_MS = 10_000;

/** {detail, screen, crop, problem}: the pictures decoded, or null; never rejects. */
export async function loadEvent(summary) {
  const base = `events/${summary.id}`;
  const run = `?${summary.receivedAt}`; // a service that was restarted counts anew, and the browser keeps the pictures of the old one
  const [answer, screen, crop] = await Promise.all([
    loadDetail(`${base}.json`),
    summary.hasScreen ? loadPicture(`${base}/screen.png${run}`, 'The screen at the moment of the event') : null,
    summary.hasCrop ? loadPicture(`${base}/crop.png${run}`, 'The touched view') : null,
  ]);
  return { ...answer, screen, crop };
}

async function loadDetail(url) {
  try {
    const response = await fetch(url, { signal: AbortSignal.timeout(LOAD_MS) });
    if (response.status === 404)
      return { problem: 'The service no longer keeps this event. It holds the latest ones only.' };
    if (!response.ok) return { problem: `The service answered with status ${response.status}. Its terminal says why.` };
    return { detail: await response.json() };
  } catch {
    return { problem: 'The service did not answer. The event is loaded when it is back.' };
  }
}

/** Null when there is no such picture, or it is none. */
async function loadPicture(url, alt) {
  const image = new Image();
  image.alt = alt;
  image.src = url;
  try {
    await image.decode();
    return image;
  } catch {
    return null;
  }
}
