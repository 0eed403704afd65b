// POST /api/integrations/ios/track: a batch of messages in a wrapper whose every byte is laid down.

import { epochMilliseconds } from '../checks.mjs';
import { jsonHeaderProblems, parseCompactJson, rawContent, textOfBody } from '../json-body.mjs';
import { messageProblems } from './message.mjs';

// Far more than the library puts into one; keeps a mad sender from becoming a million records.
const MAX_MESSAGES = 1000;
const OPENING = /^\{"sentTime": "([^"]*)", "messages": (?=\[)/;

export const messageBatch = {
  name: 'track',
  path: '/api/integrations/ios/track',
  method: 'POST',
  isBatch: true,

  /** One item a message; one item in all for a body that is no batch. */
  read({ query, headers, body }) {
    const problems = jsonHeaderProblems(headers);
    if (query !== '') problems.push('a query string where none is known');
    const { sentTime, messages, problem } = openBatch(body);
    if (problem !== undefined) return [{ problems: [...problems, problem], content: rawContent(body) }];
    epochMilliseconds(sentTime, 'sentTime', problems);
    return messages.map((message, index) => ({
      problems: [...problems, ...messageProblems(message)],
      content: { sentTime, index, message },
    }));
  },
};

function openBatch(body) {
  const json = textOfBody(body);
  if (json === null) return { problem: 'the body is not UTF-8' };
  const opening = OPENING.exec(json);
  if (opening === null || !json.endsWith(']}')) {
    return { problem: 'the body is not {"sentTime": "…", "messages": […]} byte for byte' };
  }
  const { value: messages, problem } = parseCompactJson(json.slice(opening[0].length, -1));
  if (problem !== undefined) return { problem };
  if (messages.length === 0) return { problem: 'the batch holds no message' };
  if (messages.length > MAX_MESSAGES)
    return { problem: `a batch of ${messages.length} messages, over ${MAX_MESSAGES}` };
  return { sentTime: opening[1], messages };
}
