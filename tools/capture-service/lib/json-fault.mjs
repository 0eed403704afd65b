// Where a text that the parser refuses stops being compact JSON; the parser itself does not always say.

const ATOM = /-?(?:0|[1-9]\d*)(?:\.\d+)?(?:[eE][+-]?\d+)?|true|false|null/y;
const ESCAPE = /\\(?:["\\/bfnrt]|u[\da-fA-F]{4})/y;
// What may come, by what is awaited: "…" for a text, 0 for another atom.
const AWAITED = { value: '"0[{', 'value or end': '"0[{]', key: '"', 'key or end': '"}', colon: ':', 'next of [': ',]', 'next of {': ',}' };
const FOLLOWING = { '[': 'value or end', '{': 'key or end', ':': 'value' };

/** The index after what matches there, or -1. */
function endOf(pattern, json, at) {
  pattern.lastIndex = at;
  return pattern.test(json) ? pattern.lastIndex : -1;
}

/** The same for a text in quotes; the end of all when it has none. */
function endOfText(json, start) {
  for (let at = start + 1; at < json.length; ) {
    if (json[at] === '"') return at + 1;
    if (json[at] < ' ') return -1;
    at = json[at] === '\\' ? endOf(ESCAPE, json, at) : at + 1;
    if (at < 0) return -1;
  }
  return json.length;
}

/** The index of the first token that has no place where it stands; the text's length when it is valid, or ends too early. */
export function faultIndex(json) {
  const open = [];
  const afterValue = () => (open.length > 0 ? `next of ${open.at(-1)}` : 'nothing');
  let awaited = 'value';
  let at = 0;
  while (at < json.length) {
    const first = json[at];
    const isMark = '[]{}:,'.includes(first);
    const kind = isMark || first === '"' ? first : '0';
    const end = isMark ? at + 1 : first === '"' ? endOfText(json, at) : endOf(ATOM, json, at);
    if (end < 0 || !AWAITED[awaited]?.includes(kind)) return at;
    if (kind === '[' || kind === '{') open.push(kind);
    if (kind === ']' || kind === '}') open.pop();
    if (kind === ',') awaited = open.at(-1) === '{' ? 'key' : 'value';
    else if (awaited.startsWith('key') && kind === '"') awaited = 'colon';
    else awaited = FOLLOWING[kind] ?? afterValue();
    at = end;
  }
  return at;
}
