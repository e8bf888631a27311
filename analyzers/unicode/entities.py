#!/usr/bin/env python3
"""Writes entities.inc beside it: the named character references of HTML.

The names and their characters are those of the HTML standard, as Python's html.entities has them.
Run it again when the standard grows; the result is committed.
"""
import html.entities
import pathlib

target = pathlib.Path(__file__).resolve().parent / "entities.inc"
bare = {name for name in html.entities.html5 if not name.endswith(";")}
rows = []
for name, text in sorted(html.entities.html5.items()):
    if not name.endswith(";"):
        continue
    name = name[:-1]
    octets = "".join(f"\\x{byte:02X}" for byte in text.encode())
    rows.append(f'{{"{name}", "{octets}", {"true" if name in bare else "false"}}},\n')
with open(target, "w", encoding="ascii") as out:
    out.write("// Written by entities.py: name, text, whether \";\" may be missing.\n")
    out.writelines(sorted(rows, key=lambda row: row.split('"')[1].encode()))
