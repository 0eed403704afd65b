// One captured event as it is kept: its summary, its message and ancestry as JSON, and its pictures.

import { isObject } from '../checks.mjs';
import { readPicture } from './picture.mjs';
import { summaryOf } from './summary.mjs';

/**
 * Returns { problem }, or { summary, message, viewAncestry, boundingBox, screen, crop, warnings }: the last three are
 * PNGs or null, and sentences about parts that were left out.
 */
export function captureEvent(content, pictures) {
  if (!isObject(content.message)) return { problem: 'its message is not an object' };
  const warnings = [];
  const ancestry = readAncestry(content.view_ancestry, warnings);
  return {
    summary: summaryOf(content.message),
    message: JSON.stringify(content.message),
    viewAncestry: ancestry === null ? null : JSON.stringify(content.view_ancestry),
    boundingBox: boxOf(ancestry?.at(-1)),
    ...readPictures(content, pictures, warnings),
    warnings,
  };
}

function readAncestry(given, warnings) {
  if (given === undefined) return null;
  if (isObject(given) && Array.isArray(given.ancestry)) return given.ancestry.length > 0 ? given.ancestry : null;
  warnings.push('view_ancestry is not an object with an array "ancestry"');
  return null;
}

/** Of the touched view, which is the last of its ancestry. */
function boxOf(node) {
  const { upperLeftOrigin, size } = node?.boundingBox ?? {};
  const box = { x: upperLeftOrigin?.x, y: upperLeftOrigin?.y, width: size?.width, height: size?.height };
  return Object.values(box).every(Number.isFinite) ? box : null;
}

/** With two pictures the first is the touched view's; one alone is the screen's. */
function readPictures({ image_format: format, image_encoding: encoding }, { image, fullImage }, warnings) {
  const read = (name, given) => {
    if (given === undefined) return null;
    const isKnown = format === 'png' && encoding === 'base64';
    const { png, problem } = isKnown ? readPicture(given) : { problem: 'is not said to be PNG in Base64' };
    if (problem !== undefined) warnings.push(`${name} ${problem}`);
    return png ?? null;
  };
  const [first, full] = [read('image_data', image), read('full_image_data', fullImage)];
  return fullImage === undefined ? { screen: first, crop: null } : { screen: full, crop: first };
}
