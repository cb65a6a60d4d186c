// The MCP client of the AI SDK.

import assert from 'node:assert/strict';
import { createMCPClient } from '@ai-sdk/mcp';
import { Experimental_StdioMCPTransport as StdioTransport } from '@ai-sdk/mcp/mcp-stdio';
import { holdConversations, textOf } from '../support/conversation.mjs';
import { check, setting } from '../support/setting.mjs';

async function createClient(environment, errors = []) {
  const [command, ...args] = setting.command;
  return createMCPClient({
    transport: new StdioTransport({ command, args, env: environment, stderr: 'ignore' }),
    onUncaughtError: (error) => errors.push(error),
  });
}

await check('makes tools that a model can call', async () => {
  const client = await createClient({ TMPDIR: setting.devhost });
  const tools = await client.tools();
  const options = { toolCallId: '1', messages: [] };
  const result = await tools.search_procedures.execute({ pattern: '^main$', case_sensitive: true }, options);
  assert.match(textOf(result), /^\{"0x[0-9a-f]+": "main"\}$/);
  await client.close();
});
await holdConversations(async (environment) => {
  const errors = [];
  const client = await createClient(environment, errors);
  assert.equal(client.serverInfo.name, 'OrvaneMCPServer');
  return {
    errors,
    listTools: async () => (await client.listTools()).tools.map(({ name }) => name),
    call: async (name, parameters, options) => textOf(await client.callTool({ name, arguments: parameters, options })),
    close: () => client.close(),
  };
});
