// The SDK's successor, as it is without further options.

import { Client } from '@modelcontextprotocol/client';
import { StdioClientTransport } from '@modelcontextprotocol/client/stdio';
import { holdConversations } from '../support/conversation.mjs';
import { connectSdk } from '../support/sdk_session.mjs';

await holdConversations((environment) => {
  const client = new Client({ name: 'client-2.4', version: '1' });
  const callTool = (parameters, options) => client.callTool(parameters, options);
  return connectSdk({ client, StdioClientTransport, environment, callTool });
});
