// Reading requests and writing answers, for all who serve on this port.

/**
 * Reads the request's body. Resolves to { body, size, complete }: `body` is null when it was over `limit` bytes (the rest
 * is read and thrown away, so that the sender gets to read the answer), `complete` is false when the sender went away.
 */
export function readBody(request, limit) {
  return new Promise((resolve) => {
    let chunks = [];
    let size = 0;
    request.on('data', (chunk) => {
      size += chunk.length;
      if (size > limit) chunks = null;
      else chunks.push(chunk);
    });
    const finish = () => {
      resolve({ body: chunks === null ? null : Buffer.concat(chunks), size, complete: request.complete });
      chunks = null;
    };
    request.once('end', finish);
    request.once('close', finish);
    request.on('error', () => {}); // 'close' follows
  });
}

export function sendJson(response, status, value, headers = {}) {
  const text = typeof value === 'string' ? value : JSON.stringify(value);
  response.writeHead(status, {
    'Content-Type': 'application/json',
    'Content-Length': Buffer.byteLength(text),
    'Cache-Control': 'no-store',
    ...headers,
  });
  response.end(text);
}
