// Small PNGs for tests that need real pictures.

import zlib from 'node:zlib';

/** An RGB picture of `width` x `height`; `rectangles` are [x, y, width, height, 0xRRGGBB], later ones over earlier ones. */
export function png(width, height, rectangles) {
  const stride = 1 + 3 * width; // each row begins with its filter, none
  const rows = Buffer.alloc(stride * height);
  for (const [left, top, w, h, colour] of rectangles) {
    for (let y = Math.max(0, top); y < Math.min(height, top + h); y++) {
      for (let x = Math.max(0, left); x < Math.min(width, left + w); x++) rows.writeUIntBE(colour, y * stride + 1 + 3 * x, 3);
    }
  }
  const header = Buffer.from([0, 0, 0, 0, 0, 0, 0, 0, 8, 2, 0, 0, 0]);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  const signature = Buffer.from('89504e470d0a1a0a', 'hex');
  return Buffer.concat([signature, chunk('IHDR', header), chunk('IDAT', zlib.deflateSync(rows)), chunk('IEND', Buffer.alloc(0))]);
}

function chunk(type, data) {
  const content = Buffer.concat([Buffer.from(type, 'latin1'), data]);
  const [length, checksum] = [Buffer.alloc(4), Buffer.alloc(4)];
  length.writeUInt32BE(data.length);
  checksum.writeUInt32BE(crc32(content));
  return Buffer.concat([length, content, checksum]);
}

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; bit++) crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc >>> 0;
}
