// A session with a client of the official TypeScript SDK. Its classes have kept their shape over the releases; only
// the place of the options in `callTool` differs.

import assert from 'node:assert/strict';
import { textOf } from './conversation.mjs';
import { setting } from './setting.mjs';

/// Connects a `client`; `callTool(parameters, options)` calls in the way of its release.
export async function connectSdk({ client, StdioClientTransport, environment, callTool, command = setting.command }) {
  const errors = [];
  client.onerror = (error) => errors.push(error);
  await client.connect(
    new StdioClientTransport({ command: command[0], args: command.slice(1), env: environment, stderr: 'ignore' }),
  );
  assert.equal(client.getServerVersion().name, 'OrvaneMCPServer');
  return {
    errors,
    listTools: async () => (await client.listTools()).tools.map(({ name }) => name),
    call: async (name, parameters, options) => textOf(await callTool({ name, arguments: parameters }, options)),
    close: () => client.close(),
  };
}
