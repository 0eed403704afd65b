// Whom this port answers, where it matters. Pages of other sites may reach it through a browser, and names of other hosts may
// be made to point at it: they can neither read nor steer nor write. Programs send neither origin nor site; a browser leaves
// the origin out for a picture, and still says of which site the page is.

const OWN_SITES = [undefined, 'same-origin', 'none']; // none: typed into the address bar

export function comesFromElsewhere({ headers, socket }) {
  const own = [`127.0.0.1:${socket.localPort}`, `localhost:${socket.localPort}`];
  if (!own.includes(headers.host?.toLowerCase())) return true;
  if (!OWN_SITES.includes(headers['sec-fetch-site'])) return true;
  return headers.origin !== undefined && !own.some((host) => headers.origin === `http://${host}`);
}
