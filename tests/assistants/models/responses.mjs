// OpenAI's Responses API, streamed.

let replies = 0;

/// A tool is a function, or a function in a namespace.
function toolsOf(tool) {
  if (tool.type === 'function') return [{ name: tool.name, handle: { name: tool.name } }];
  if (tool.type !== 'namespace') return [];
  return tool.tools.map(({ name }) => ({ name: `${tool.name}.${name}`, handle: { namespace: tool.name, name } }));
}

function textOf(output) {
  return typeof output === 'string' ? output : output.map(({ text }) => text ?? '').join('\n');
}

export function conversationOf({ input, tools = [] }) {
  if (!Array.isArray(input)) return undefined;
  const outputs = input.filter(({ type }) => type === 'function_call_output').map(({ output }) => textOf(output));
  return { tools: tools.flatMap(toolsOf), outputs };
}

function itemOf({ call, text }, number) {
  if (call === undefined)
    return {
      type: 'message',
      id: `msg_${number}`,
      role: 'assistant',
      status: 'completed',
      content: [{ type: 'output_text', text, annotations: [] }],
    };
  const { handle, arguments: parameters } = call;
  return {
    type: 'function_call',
    id: `fc_${number}`,
    call_id: `call_${number}`,
    status: 'completed',
    ...handle,
    arguments: JSON.stringify(parameters),
  };
}

export function reply(response, content) {
  const number = ++replies;
  const item = itemOf(content, number);
  const state = { id: `resp_${number}`, object: 'response', created_at: 0, model: 'scripted', output: [] };
  const usage = { input_tokens: 1, output_tokens: 1, total_tokens: 2 };
  const send = (type, members) =>
    response.write(`event: ${type}\ndata: ${JSON.stringify({ type, output_index: 0, ...members })}\n\n`);
  response.writeHead(200, { 'Content-Type': 'text/event-stream' });
  send('response.created', { response: { ...state, status: 'in_progress' } });
  send('response.output_item.added', { item });
  if (content.text !== undefined) {
    send('response.output_text.delta', { item_id: item.id, content_index: 0, delta: content.text });
  }
  send('response.output_item.done', { item });
  send('response.completed', { response: { ...state, status: 'completed', output: [item], usage } });
  response.end();
}
