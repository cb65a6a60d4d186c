// Google's generateContent, streamed or not.

export function conversationOf({ contents, tools = [] }) {
  if (!Array.isArray(contents)) return undefined;
  const parts = contents.flatMap((content) => content.parts ?? []);
  const results = parts.filter(({ functionResponse }) => functionResponse !== undefined);
  const names = tools.flatMap(({ functionDeclarations = [] }) => functionDeclarations.map(({ name }) => name));
  return {
    tools: names.map((name) => ({ name, handle: name })),
    outputs: results.map(({ functionResponse: { response } }) => response.output ?? JSON.stringify(response)),
  };
}

export function reply(response, { call, text }, path) {
  const part = call === undefined ? { text } : { functionCall: { name: call.handle, args: call.arguments } };
  const candidate = { index: 0, content: { role: 'model', parts: [part] }, finishReason: 'STOP' };
  const usageMetadata = { promptTokenCount: 1, candidatesTokenCount: 1, totalTokenCount: 2 };
  const body = JSON.stringify({ candidates: [candidate], usageMetadata, modelVersion: 'scripted' });
  const isStreamed = path.includes(':streamGenerateContent');
  response.writeHead(200, { 'Content-Type': isStreamed ? 'text/event-stream' : 'application/json' });
  response.end(isStreamed ? `data: ${body}\n\n` : body);
}
