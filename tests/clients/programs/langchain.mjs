// LangChain's adapters, which turn the server's tools into tools of an agent.

import { MultiServerMCPClient } from '@langchain/mcp-adapters';
import { holdConversations } from '../support/conversation.mjs';
import { setting } from '../support/setting.mjs';

await holdConversations(async (environment) => {
  const client = new MultiServerMCPClient({
    mcpServers: { orvane: { transport: 'stdio', command: setting.server, env: environment, stderr: 'ignore' } },
  });
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
