// POST /api/integrations/ios/track: a batch of messages in a wrapper whose every byte is laid down.

import { epochMilliseconds } from '../checks.mjs';
import { jsonHeaderProblems, parseCompactJson, rawContent, readText, unpacked } from '../json-body.mjs';
import { messageProblems } from './message.mjs';

// Far more than the library puts into one; keeps a mad sender from becoming a million records.
const MAX_MESSAGES = 1000;
const START = '{"sentTime": "';
const MIDDLE = '", "messages": ';
const END = '}';

export const messageBatch = {
  name: 'track',
  path: '/api/integrations/ios/track',
  method: 'POST',
  isBatch: true,

  /** One item a message; one item in all for a body that is no batch. */
  read({ query, headers, body }) {
    const problems = jsonHeaderProblems(headers);
    if (query !== '') problems.push('a query string where none is known');
    const { bytes, problem: packing } = unpacked(headers, body);
    const { sentTime, messages, problem } = packing === undefined ? openBatch(bytes) : { problem: packing };
    if (problem !== undefined) return [{ problems: [...problems, problem], content: rawContent(body) }];
    epochMilliseconds(sentTime, 'sentTime', problems);
    return messages.map((message, index) => ({
      problems: [...problems, ...messageProblems(message)],
      content: { sentTime, index, ...(bytes !== body && { compressed: true }), message },
    }));
  },
};

function openBatch(body) {
  const read = readText(body);
  if (read.problem !== undefined) return read;
  const { text } = read;
  const sentTime = text.slice(START.length).split('"', 1)[0];
  const quote = START.length + sentTime.length;
  const opening = text.slice(0, quote + MIDDLE.length);
  const fault = wrapperFault(text, quote);
  if (fault !== null) {
    const byte = Buffer.byteLength(text.slice(0, fault));
    return { problem: `the body is not {"sentTime": "…", "messages": […]} byte for byte: it differs at byte ${byte}` };
  }
  const { value: messages, problem } = parseCompactJson(text.slice(opening.length, -END.length), opening);
  if (problem !== undefined) return { problem };
  if (messages.length === 0) return { problem: 'the batch holds no message' };
  if (messages.length > MAX_MESSAGES)
    return { problem: `a batch of ${messages.length} messages, over ${MAX_MESSAGES}` };
  return { sentTime, messages };
}

/** The index of the first character of the wrapper that is not as laid down, or null; `quote` ends the send time. */
function wrapperFault(text, quote) {
  const wanted = [[START, 0], [`${MIDDLE}[`, quote], [`]${END}`, Math.max(text.length - 2, 0)]];
  for (const [part, start] of wanted) {
    const index = [...part].findIndex((character, offset) => text[start + offset] !== character);
    if (index >= 0) return start + index;
  }
  return null;
}
