// Lays out rows of text as a table of a given width in a terminal.

const GAP = '  ';
const LEAST_WIDTH = 6;
const WIDE =
  /\p{Extended_Pictographic}|[\p{Script=Han}\p{Script=Hiragana}\p{Script=Katakana}\p{Script=Hangul}\uff01-\uff60]/u;
const CONTROLS = /[\p{Cc}\p{Zl}\p{Zp}\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069]/gu;
const graphemes = new Intl.Segmenter('en', { granularity: 'grapheme' });

/** Text that cannot steer the terminal it is printed to. */
export function printable(text) {
  return text.replace(CONTROLS, '·');
}

function* measured(text) {
  for (const { segment } of graphemes.segment(text)) {
    const isSingle = segment.length === 1 && segment <= '~';
    yield [segment, !isSingle && WIDE.test(segment) ? 2 : 1];
  }
}

function widthOf(text) {
  let width = 0;
  for (const [, cells] of measured(text)) width += cells;
  return width;
}

/** `text` padded, or cut with an ellipsis, to exactly `width` cells. */
function fit(text, width) {
  const own = widthOf(text);
  if (own <= width) return text + ' '.repeat(width - own);
  let kept = '';
  let used = 0;
  for (const [segment, cells] of measured(text)) {
    if (used + cells > width - 1) break;
    kept += segment;
    used += cells;
  }
  return `${kept}…${' '.repeat(width - 1 - used)}`;
}

/** Shrinks `widths` to fit `total`: the widest column gives way first. A column marked rigid keeps its width. */
function shrinkToFit(widths, columns, total) {
  const room = total - GAP.length * (columns.length - 1);
  for (let excess = widths.reduce((sum, width) => sum + width, 0) - room; excess > 0; excess--) {
    const candidates = columns.map((_, i) => i).filter((i) => !columns[i].rigid && widths[i] > LEAST_WIDTH);
    if (candidates.length === 0) return;
    widths[candidates.reduce((widest, i) => (widths[i] > widths[widest] ? i : widest))]--;
  }
}

/** `columns` are { title, rigid }; `rows` are arrays of as many strings. Returns the lines. */
export function layOut(columns, rows, total) {
  // No column can get more than the whole width, so a long cell need not be measured to its end.
  const cells = rows.map((row) => row.map((cell) => printable(cell.slice(0, 4 * total))));
  const widths = columns.map(({ title }) => title.length);
  for (const row of cells) row.forEach((cell, i) => (widths[i] = Math.max(widths[i], Math.min(total, widthOf(cell)))));
  shrinkToFit(widths, columns, total);
  const line = (row) =>
    row
      .map((cell, i) => fit(cell, widths[i]))
      .join(GAP)
      .trimEnd();
  return [
    line(columns.map(({ title }) => title)),
    widths.map((width) => '─'.repeat(width)).join(GAP),
    ...cells.map(line),
  ];
}
