// Anthropic's Messages API, streamed.

let replies = 0;

function textOf(content) {
  return typeof content === 'string' ? content : content.map(({ text }) => text ?? '').join('\n');
}

export function conversationOf({ messages, tools = [] }) {
  if (!Array.isArray(messages)) return undefined;
  const blocks = messages.flatMap(({ content }) => (Array.isArray(content) ? content : []));
  const results = blocks.filter(({ type }) => type === 'tool_result');
  return {
    tools: tools.map(({ name }) => ({ name, handle: name })),
    outputs: results.map(({ content = '' }) => textOf(content)),
  };
}

/// The block as it begins, and what is then added to it.
function blockOf({ call, text }, number) {
  if (call === undefined) return [{ type: 'text', text: '' }, { type: 'text_delta', text }];
  return [
    { type: 'tool_use', id: `toolu_${number}`, name: call.handle, input: {} },
    { type: 'input_json_delta', partial_json: JSON.stringify(call.arguments) },
  ];
}

export function reply(response, content) {
  const number = ++replies;
  const [block, delta] = blockOf(content, number);
  const usage = { input_tokens: 1, output_tokens: 1 };
  const message = { id: `msg_${number}`, type: 'message', role: 'assistant', model: 'scripted', content: [], usage };
  const stopReason = content.call === undefined ? 'end_turn' : 'tool_use';
  const send = (type, members) => response.write(`event: ${type}\ndata: ${JSON.stringify({ type, ...members })}\n\n`);
  response.writeHead(200, { 'Content-Type': 'text/event-stream' });
  send('message_start', { message: { ...message, stop_reason: null, stop_sequence: null } });
  send('content_block_start', { index: 0, content_block: block });
  send('content_block_delta', { index: 0, delta });
  send('content_block_stop', { index: 0 });
  send('message_delta', { delta: { stop_reason: stopReason, stop_sequence: null }, usage });
  send('message_stop', {});
  response.end();
}
