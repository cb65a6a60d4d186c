// The official TypeScript SDK as most clients have it built in.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { holdConversations } from '../support/conversation.mjs';
import { connectSdk } from '../support/sdk_session.mjs';
import { check, notice, runningServers, setting, timeUntilServersEnd } from '../support/setting.mjs';

await holdConversations((environment) => {
  const client = new Client({ name: 'sdk-1.32', version: '1' });
  const callTool = (parameters, options) => client.callTool(parameters, undefined, options);
  return connectSdk({ client, StdioClientTransport, environment, callTool });
});

async function killAClient() {
  const program = new URL('../support/client_to_kill.mjs', import.meta.url).pathname;
  const client = spawn(process.execPath, [program, ...setting.command], { stdio: ['ignore', 'pipe', 'inherit'] });
  await once(client.stdout, 'data');
  assert.equal(runningServers().length, 1);
  client.kill('SIGKILL');
  await once(client, 'exit');
}

if (setting.throughServe) {
  await check('ends its server when it is killed', async () => {
    await killAClient();
    await timeUntilServersEnd();
  });
} else {
  await check('leaves its server behind when it is killed', async () => {
    await killAClient();
    const [left] = runningServers();
    assert.notEqual(left, undefined, 'the server that is left');
    notice('killed');
    process.kill(left, 'SIGTERM');
    await timeUntilServersEnd();
  });
}
