// same_tools_server.mjs CATALOGUE: the tools of OrvaneMCPServer in front of the same host, on the official TypeScript
// SDK. CATALOGUE is what bench/read_catalogue.py learnt from the built server: each tool as a client is shown it, and
// the request that it sends to the host.

import { readFileSync } from "node:fs";
import { connect } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { Server } from "@modelcontextprotocol/sdk/server/index.js";
import { StdioServerTransport } from "@modelcontextprotocol/sdk/server/stdio.js";
import { CallToolRequestSchema, ListToolsRequestSchema } from "@modelcontextprotocol/sdk/types.js";

const LENGTH_BYTES = 4;

/** The host's socket: one request at a time, each a line; replies with their length before them. */
class Host {
  #socket;
  #chunks = [];
  #received = 0;
  #wanted = LENGTH_BYTES;
  #inBody = false;
  #resolve = null;
  #last = Promise.resolve();

  constructor(path) {
    this.#socket = connect(path);
    this.#socket.on("data", (chunk) => this.#take(chunk));
  }

  /** The reply to `request`; waits for those before it. */
  ask(request) {
    this.#last = this.#last.then(
      () =>
        new Promise((resolve) => {
          this.#resolve = resolve;
          this.#socket.write(JSON.stringify(request) + "\n");
        }),
    );
    return this.#last;
  }

  #take(chunk) {
    this.#chunks.push(chunk);
    this.#received += chunk.length;
    while (this.#received >= this.#wanted) {
      const bytes = this.#chunks.length === 1 ? this.#chunks[0] : Buffer.concat(this.#chunks);
      const part = bytes.subarray(0, this.#wanted);
      this.#chunks = [bytes.subarray(this.#wanted)];
      this.#received -= this.#wanted;
      this.#wanted = this.#inBody ? LENGTH_BYTES : part.readInt32LE();
      if (this.#inBody) this.#resolve(JSON.parse(part.toString()));
      this.#inBody = !this.#inBody;
    }
  }
}

const { service, tools, requests } = JSON.parse(readFileSync(process.argv[2], "utf8"));
const host = new Host(join(process.env.TMPDIR ?? tmpdir(), service));
// The SDK's lower class: its tool list takes a tenth of the time of McpServer, which builds the schemas anew each time.
const server = new Server({ name: "same-tools", version: "1.0.0" }, { capabilities: { tools: {} } });

server.setRequestHandler(ListToolsRequestSchema, () => ({ tools }));

server.setRequestHandler(CallToolRequestSchema, async ({ params }) => {
  const { selector, argumentNames } = requests[params.name];
  const args = argumentNames.map((name) => params.arguments?.[name] ?? "");
  const reply = await host.ask({ args, request: selector });
  if (!reply.success) throw new Error(reply.error);
  const text = typeof reply.result === "string" ? reply.result : JSON.stringify(reply.result);
  return { content: [{ type: "text", text }] };
});

await server.connect(new StdioServerTransport());
