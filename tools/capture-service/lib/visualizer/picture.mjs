// Pictures that apps send: PNG in Base64. Whatever is not that is not kept, so that it cannot be served either.

const SIGNATURE = Buffer.from('89504e470d0a1a0a0000000d49484452', 'hex'); // and the head of the first chunk
const END = Buffer.from('0000000049454e44ae426082', 'hex');
const SHORTEST = SIGNATURE.length + 17 + END.length;
const MAX_SIDE = 8192;

/** Returns { png } or { problem }. */
export function readPicture(base64) {
  if (typeof base64 !== 'string') return { problem: 'is not a string' };
  const png = Buffer.from(base64, 'base64');
  // Decoding passes over what is not Base64.
  if (png.toString('base64') !== base64) return { problem: 'is not Base64' };
  const isPng =
    png.length >= SHORTEST && png.subarray(0, SIGNATURE.length).equals(SIGNATURE) && png.subarray(-END.length).equals(END);
  if (!isPng) return { problem: 'is not a PNG' };
  const sides = [png.readUInt32BE(16), png.readUInt32BE(20)];
  if (sides.some((side) => side < 1 || side > MAX_SIDE)) return { problem: `is of ${sides.join(' x ')} pixels` };
  return { png };
}
