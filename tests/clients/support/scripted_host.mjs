// A host that answers when the test says so. Requests are lines, replies have their length in front.

import { createServer } from 'node:net';
import { join } from 'node:path';
import { setting, waitUntil } from './setting.mjs';

export class ScriptedHost {
  #requests = [];
  #listener;

  /// Listens where servers with TMPDIR `setting.scripted` look for their host.
  static async listen() {
    const host = new ScriptedHost();
    host.#listener = createServer((connection) => host.#serve(connection));
    await new Promise((resolve) => host.#listener.listen(join(setting.scripted, setting.socketName), resolve));
    return host;
  }

  /// Waits for a request: `{args, request, reply}`; `reply(result)` answers it with success, once.
  async nextRequest() {
    await waitUntil(() => this.#requests.length > 0, 'a request to the host');
    return this.#requests.shift();
  }

  close() {
    this.#listener.close();
  }

  #serve(connection) {
    let received = '';
    connection.setEncoding('utf8');
    connection.on('error', () => {}); // A server that is killed resets its connection.
    connection.on('data', (text) => {
      const lines = (received + text).split('\n');
      received = lines.pop();
      for (const line of lines) {
        const reply = (result) => connection.write(framed({ result, success: true }));
        this.#requests.push({ ...JSON.parse(line), reply });
      }
    });
  }
}

function framed(reply) {
  const body = Buffer.from(JSON.stringify(reply));
  const length = Buffer.alloc(4);
  length.writeInt32LE(body.length);
  return Buffer.concat([length, body]);
}
