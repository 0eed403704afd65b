// Whom this port answers, where it matters. Pages of other origins may reach it through a browser, and names of other
// hosts may be made to point at it: they can neither read nor steer. Programs send no origin.

export function comesFromElsewhere({ headers, socket }) {
  const own = [`127.0.0.1:${socket.localPort}`, `localhost:${socket.localPort}`];
  if (!own.includes(headers.host?.toLowerCase())) return true;
  return headers.origin !== undefined && !own.some((host) => headers.origin === `http://${host}`);
}
