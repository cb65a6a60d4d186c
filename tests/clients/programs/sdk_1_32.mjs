// The official TypeScript SDK as most clients have it built in.

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { holdConversations } from '../support/conversation.mjs';
import { connectSdk } from '../support/sdk_session.mjs';

await holdConversations((environment) => {
  const client = new Client({ name: 'sdk-1.32', version: '1' });
  const callTool = (parameters, options) => client.callTool(parameters, undefined, options);
  return connectSdk({ client, StdioClientTransport, environment, callTool });
});
