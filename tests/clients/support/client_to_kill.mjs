// A client that connects and then waits to be killed: client_to_kill.mjs COMMAND [ARGUMENT...]

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

const [command, ...args] = process.argv.slice(2);
const client = new Client({ name: 'client-to-kill', version: '1' });
await client.connect(new StdioClientTransport({ command, args, stderr: 'ignore' }));
console.log('connected');
