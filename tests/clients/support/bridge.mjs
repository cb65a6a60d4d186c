// Puts a server that talks over standard input and output behind a URL, for tests that know servers by URL only.
// Every body goes to the server as one line and every reply back as it came. Replies come in the order of the
// messages, and only notifications/initialized has none.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createServer } from 'node:http';
import { createInterface } from 'node:readline';

/// Starts `command` with `environment`; returns `{url, server, close}`.
export async function startBridge(command, environment) {
  const server = spawn(command, { env: environment, stdio: ['pipe', 'pipe', 'ignore'] });
  const waiting = [];
  createInterface({ input: server.stdout, crlfDelay: Infinity }).on('line', (line) => waiting.shift()(line));

  const bridge = createServer(async (request, response) => {
    if (request.method !== 'POST') return response.writeHead(405).end();
    const chunks = await request.toArray();
    const body = Buffer.concat(chunks).toString('utf8');
    const message = JSON.parse(body);
    const reply =
      message.method === 'notifications/initialized' ? undefined : new Promise((resolve) => waiting.push(resolve));
    server.stdin.write(`${body.replaceAll('\n', ' ')}\n`);
    const line = await reply;
    if (message.id === undefined) return response.writeHead(202).end();
    return response.writeHead(200, { 'Content-Type': 'application/json' }).end(line);
  });
  bridge.listen(0, '127.0.0.1');
  await once(bridge, 'listening');

  const close = () => {
    bridge.closeAllConnections();
    bridge.close();
    server.kill('SIGTERM');
  };
  return { url: `http://127.0.0.1:${bridge.address().port}/mcp`, server, close };
}
