// LangChain's adapters, which turn the server's tools into tools of an agent.

import assert from 'node:assert/strict';
import { MultiServerMCPClient } from '@langchain/mcp-adapters';
import { holdConversations } from '../support/conversation.mjs';
import { check, notice, setting } from '../support/setting.mjs';

await check('refuses an entry without `args`', () => {
  const entry = { transport: 'stdio', command: setting.server };
  assert.throws(() => new MultiServerMCPClient({ mcpServers: { orvane: entry } }), /args/);
  notice('needs args');
});

await holdConversations(async (environment) => {
  const entry = { transport: 'stdio', command: setting.server, args: [], env: environment, stderr: 'ignore' };
  const client = new MultiServerMCPClient({ mcpServers: { orvane: entry } });
  const tools = new Map((await client.getTools()).map((tool) => [tool.name, tool]));
  return {
    errors: [], // The adapters have no callback for errors.
    listTools: async () => [...tools.keys()],
    call: async (name, parameters, options) => {
      const tool = tools.get(name);
      if (tool === undefined) throw new Error(`The adapters have no tool ${name}, so that none is called`);
      return tool.invoke(parameters, options);
    },
    close: () => client.close(),
  };
});
