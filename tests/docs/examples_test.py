#!/usr/bin/env python3
"""Every example that the documents show is run, and its output compared with theirs.

An example is a line of a code block that begins with a prompt, "$ " or "# ", with its output below it; "..." in the
output stands for any number of lines. The examples of a document run one after another, on a terminal, in one
throw-away appliance. A block of C is saved under the name that the text before it gives.
Runs inside the throw-away appliance: examples_test.py CHECKOUT BUILD DOCUMENT"""

import os
import pty
import re
import subprocess
import sys
import tempfile

PROMPT = re.compile(r"^[$#] (.*)")
LIMIT_S = 60

if not os.path.exists("/run/appliance/marker"):
    sys.exit("this is no throw-away appliance")
checkout, build, document = sys.argv[1:4]


def blocks(text):
    """(first line number, lines) of each code block, the marks of a program in C included."""
    found, current = [], None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("    ") or (current and not line.strip()):
            if current is None:
                current = (number, [])
            current[1].append(line[4:])
        elif current:
            found.append(current)
            current = None
    return found + ([current] if current else [])


def examples(lines):
    """(command, expected lines) of a block."""
    found = []
    for line in lines:
        prompt = PROMPT.match(line)
        if prompt:
            found.append((prompt[1], []))
        elif found and line.startswith("> ") and not found[-1][1]:
            found[-1] = (found[-1][0] + "\n" + line[2:], [])
        elif found:
            found[-1][1].append(line.rstrip())
    for _, expected in found:
        while expected and not expected[-1]:
            expected.pop()
    return found


def run(command, folder, environment):
    """What a command prints on a terminal."""
    master, slave = pty.openpty()
    process = subprocess.Popen(["timeout", str(LIMIT_S), "bash", "-c", command], stdin=subprocess.DEVNULL, stdout=slave,
                               stderr=slave, cwd=folder, env=environment)
    os.close(slave)
    output = b""
    while True:
        try:
            piece = os.read(master, 65536)
        except OSError:  # how a terminal says that nobody writes to it any more
            break
        if not piece:
            break
        output += piece
    os.close(master)
    process.wait()
    return output.decode("utf-8", "replace").replace("\r\n", "\n")


def agrees(expected, output):
    pattern = "".join("(?:.*\n)*" if line == "..." else re.escape(line) + "\n" for line in expected)
    found = "".join(line.rstrip() + "\n" for line in output.splitlines())
    return re.fullmatch(pattern, found) is not None


def main():
    text = open(f"{checkout}/{document}", encoding="utf-8").read()
    folder = tempfile.mkdtemp()
    # The place that the documents speak of: a checkout with a release build.
    for name in os.listdir(checkout):
        if name not in ("build", ".git"):
            os.symlink(f"{checkout}/{name}", f"{folder}/{name}")
    os.makedirs(f"{folder}/build")
    os.symlink(build, f"{folder}/build/release")
    for name, program in re.findall(r"`([\w.]+\.c)`[^`]*?\n```c\n(.*?)^```", text, re.S | re.M):
        with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
            file.write(program)
    environment = dict(os.environ, LD_LIBRARY_PATH=f"{build}/lib", PYTHONDONTWRITEBYTECODE="1", LC_ALL="C.UTF-8", COLUMNS="120")

    count = failures = 0
    for number, lines in blocks(text):
        for command, expected in examples(lines):
            count += 1
            output = run(command, folder, environment)
            if not agrees(expected, output):
                failures += 1
                print(f"{document}, block at line {number}: $ {command}\n--- expected\n" + "\n".join(expected) + f"\n--- found\n{output}")
    print(f"{document}: {count} examples, {failures} of them wrong")
    sys.exit(failures > 0 or count == 0)


main()
