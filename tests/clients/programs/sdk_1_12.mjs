// The release of the official TypeScript SDK whose own protocol revision is the server's.

import assert from 'node:assert/strict';
import { Client } from 'sdk-1.12/client/index.js';
import { StdioClientTransport } from 'sdk-1.12/client/stdio.js';
import { LATEST_PROTOCOL_VERSION } from 'sdk-1.12/types.js';
import { holdConversations } from '../support/conversation.mjs';
import { connectSdk } from '../support/sdk_session.mjs';
import { check } from '../support/setting.mjs';

await check('speaks the revision of the server', () => assert.equal(LATEST_PROTOCOL_VERSION, '2025-03-26'));
await holdConversations((environment) => {
  const client = new Client({ name: 'sdk-1.12', version: '1' });
  const callTool = (parameters, options) => client.callTool(parameters, undefined, options);
  return connectSdk({ client, StdioClientTransport, environment, callTool });
});
