#!/usr/bin/env python3
"""links_test.py ROOT

Every link in the repository's Markdown files leads to a file that exists and, where it names an anchor, to a heading
that has it. Links that leave the repository are not followed.
"""

import pathlib
import re
import sys

# Folders of what is made or brought.
NOT_OURS = {"build", "node_modules", ".cache"}

LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#{1,6} +(.*?) *$", re.MULTILINE)
FENCED = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
INDENTED = re.compile(r"^ {4}.*$", re.MULTILINE)


def anchors(document):
    """The anchors that a forge gives the headings of a document, and those that it sets itself."""
    text = FENCED.sub("", document.read_text())
    own = set(re.findall(r'<a id="([^"]+)">', text))
    plain = (re.sub(r"[^\w\- ]", "", LINK.sub(lambda link: link.group(0).split("]")[0], heading).lower())
             for heading in HEADING.findall(text))
    return own | {heading.replace(" ", "-") for heading in plain}


def wrong_links(document, root):
    text = INDENTED.sub("", FENCED.sub("", document.read_text()))
    for target in LINK.findall(text):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        file = (document.parent / path).resolve() if path else document
        if not file.exists() or root not in file.parents:
            yield f"{document.relative_to(root)}: {target} leads nowhere"
        elif anchor and anchor not in anchors(file):
            yield f"{document.relative_to(root)}: {target} names no heading"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    documents = [file for file in root.rglob("*.md") if not NOT_OURS & set(file.relative_to(root).parts)
                 and not file.name.endswith("_template.md")]  # their links are those of what is made
    wrong = [line for file in sorted(documents) for line in wrong_links(file, root)]
    print("\n".join(wrong) if wrong else f"All links in {len(documents)} documents lead somewhere.")
    return 1 if wrong or not documents else 0


if __name__ == "__main__":
    sys.exit(main())
