#!/usr/bin/env python3
"""tools_document.py SERVER DEVHOST [--write]

docs/tools.md: the tools as the server lists them, with an example of each. Compares the document with what the
server says, or writes it.
"""

import argparse
import json
import sys

from example_session import DOCS, HERE, example_session, keep_or_write, shown

HEAD = """# The tools

<!-- Made by tests/documents/tools_document.py from what the server answers. Do not edit: ./run documents -->

The {count} tools in the order in which `tools/list` gives them. An assistant pays for the list once in each
session ({list_bytes:,} bytes as one line) and for every answer, whose size stands beside it. All arguments may be
left out; an argument of another type counts as left out.

The examples are calls of one session, in order, with [`orvane-devhost`](development_host.md) and a small program,
[`vault.s`](../tests/documents/vault.s). Orvane itself may word its answers differently. JSON answers come as one line
and are shown here over several.
"""


def section(tool, example, answer):
    lines = [f"\n## {tool['name']}\n", tool["description"] + "\n"]
    properties = tool["inputSchema"]["properties"]
    if properties:
        lines += ["| Argument | Type | Meaning |", "|---|---|---|"]
        lines += [f"| `{name}` | {argument['type']} | {argument['description']} |"
                  for name, argument in properties.items()]
        lines.append("")
    size = len(answer.encode())
    lines += ["```json", json.dumps({"name": tool["name"], "arguments": example}), "```",
              f"Answer, {size:,} bytes:" if size else "Answer: an empty text."]
    if size:
        lines += ["```", shown(answer).rstrip("\n"), "```"]
    return "\n".join(lines) + "\n"


def document(session):
    examples = json.loads((HERE / "tool_examples.json").read_text())
    reply = session.ask("tools/list", {})[1]
    tools = json.loads(reply)["result"]["tools"]
    answers = {example["tool"]: (example.get("arguments", {}), session.call(example["tool"], example.get("arguments", {})))
               for example in examples}
    return HEAD.format(count=len(tools), list_bytes=len(reply.encode())) + "".join(
        section(tool, *answers[tool["name"]]) for tool in tools)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("server")
    parser.add_argument("devhost")
    parser.add_argument("--write", action="store_true", help="write the document")
    arguments = parser.parse_args()
    with example_session(arguments.server, arguments.devhost) as session:
        text = document(session)
    return keep_or_write(DOCS / "tools.md", text, arguments.write)


if __name__ == "__main__":
    sys.exit(main())
