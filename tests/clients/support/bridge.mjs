// Puts a server that talks over standard input and output behind a URL, for tests that know servers by URL only.
// Every body goes to the server as one line and every reply back as it came, to the request whose id it has. A message
// without an id is answered at once; what the server says to it is dropped.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createServer } from 'node:http';
import { createInterface } from 'node:readline';

/// Starts `command`, a list, with `environment`; returns `{url, server, close}`.
export async function startBridge(command, environment) {
  const server = spawn(command[0], command.slice(1), { env: environment, stdio: ['pipe', 'pipe', 'ignore'] });
  const waiting = new Map();
  createInterface({ input: server.stdout, crlfDelay: Infinity }).on('line', (line) => {
    const { id } = JSON.parse(line);
    waiting.get(id)?.(line);
    waiting.delete(id);
  });

  const bridge = createServer(async (request, response) => {
    if (request.method !== 'POST') return response.writeHead(405).end();
    const chunks = await request.toArray();
    const body = Buffer.concat(chunks).toString('utf8');
    const { id } = JSON.parse(body);
    const reply = new Promise((resolve) => id !== undefined && waiting.set(id, resolve));
    server.stdin.write(`${body.replaceAll('\n', ' ')}\n`);
    if (id === undefined) return response.writeHead(202).end();
    return response.writeHead(200, { 'Content-Type': 'application/json' }).end(await reply);
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
