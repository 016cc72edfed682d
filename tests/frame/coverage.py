#!/usr/bin/python3
"""Tells from gcovr's JSON which share of the lines ran, folder by folder, and what no test has produced.

    coverage.py REPORT ROOT            lines per folder, and all together
    coverage.py REPORT ROOT --texts    literals and failure results in statements that never ran
    coverage.py REPORT ROOT --lines    every line that never ran
"""

import json
import os
import re
import sys

# A line that did not run goes on to the end of its statement; only the first of them is counted.
STATEMENT_END = re.compile(r"[;{}]\s*(//.*)?$")
LITERAL = re.compile(r'"(?:[^"\\]|\\.)*"')
FAILURE = re.compile(r"\breturn (-\d+|[A-Z_]+|k[A-Z]\w*);")


def counted(report):
    """File, and for each line with code how often it ran."""
    with open(report, encoding="utf-8") as stream:
        for entry in sorted(json.load(stream)["files"], key=lambda each: each["file"]):
            lines = {}
            for line in entry["lines"]:
                if not line.get("gcovr/noncode", False):
                    lines[line["line_number"]] = lines.get(line["line_number"], 0) + line["count"]
            yield entry["file"], lines


def statement(source, number):
    text = source[number - 1].strip()
    while not STATEMENT_END.search(text) and number < len(source):
        text += " " + source[number].strip()
        number += 1
    return text


def print_folders(report):
    folders, total = {}, [0, 0]
    for name, lines in counted(report):
        for sums in (folders.setdefault(os.path.dirname(name), [0, 0]), total):
            sums[0] += sum(count > 0 for count in lines.values())
            sums[1] += len(lines)
    library = [sum(sums[i] for folder, sums in folders.items() if folder.startswith("src/")) for i in (0, 1)]
    for folder, (ran, known) in list(folders.items()) + [("src", library), ("total", total)]:
        if known > 0:
            print(f"{folder:16} {ran:5} of {known:5} lines  {100 * ran / known:5.1f} %")


def print_missed(report, root, only_texts):
    for name, lines in counted(report):
        with open(os.path.join(root, name), encoding="utf-8") as stream:
            source = stream.read().splitlines()
        for number, count in sorted(lines.items()):
            if count > 0:
                continue
            text = statement(source, number).replace('extern "C"', "")
            found = LITERAL.findall(text) + FAILURE.findall(text)
            if found or not only_texts:
                print(f"{name}:{number}: {'  '.join(found) if only_texts else source[number - 1].strip()}")


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    if len(sys.argv) == 3:
        print_folders(sys.argv[1])
    else:
        print_missed(sys.argv[1], sys.argv[2], sys.argv[3] == "--texts")


main()
