// A client that connects and then waits to be killed: client_to_kill.mjs SERVER

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

const client = new Client({ name: 'client-to-kill', version: '1' });
await client.connect(new StdioClientTransport({ command: process.argv[2], stderr: 'ignore' }));
console.log('connected');
