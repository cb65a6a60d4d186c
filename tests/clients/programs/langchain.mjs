// LangChain's adapters, which turn the server's tools into tools of an agent.

import assert from 'node:assert/strict';
import { MultiServerMCPClient } from '@langchain/mcp-adapters';
import { holdConversations, textOf } from '../support/conversation.mjs';
import { check, notice, setting } from '../support/setting.mjs';

await check('refuses an entry without `args`', () => {
  const entry = { transport: 'stdio', command: setting.command[0] };
  assert.throws(() => new MultiServerMCPClient({ mcpServers: { orvane: entry } }), /args/);
  notice('needs args');
});

await holdConversations(async (environment) => {
  const [command, ...args] = setting.command;
  const entry = { transport: 'stdio', command, args, env: environment, stderr: 'ignore' };
  const client = new MultiServerMCPClient({ mcpServers: { orvane: entry } });
  const sdkClient = await client.getClient('orvane');
  const tools = new Map((await client.getTools()).map((tool) => [tool.name, tool]));
  return {
    errors: [], // The adapters have no callback for errors.
    listTools: async () => [...tools.keys()],
    call: async (name, parameters, options) => {
      const tool = tools.get(name);
      if (tool !== undefined) return tool.invoke(parameters, options);
      // An agent can only call tools that are listed; others take the way below the adapters.
      return textOf(await sdkClient.callTool({ name, arguments: parameters }));
    },
    close: () => client.close(),
  };
});
