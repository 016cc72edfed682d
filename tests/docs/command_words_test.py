#!/usr/bin/env python3
"""What the nas1 command knows, what its page tells and what its completion offers are the same nouns and verbs.

Runs inside the throw-away appliance: command_words_test.py PAGE"""

import re
import subprocess
import sys

if not __import__("os").path.exists("/run/appliance/marker"):
    sys.exit("this is no throw-away appliance")


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=60).stdout


def words_below(heading, text):
    """The first words of the indented lines below a heading."""
    block = re.search(rf"^{heading}\n((?:  .*\n)+)", text, re.M)
    return re.findall(r"^  ([a-z][\w-]*)", block[1], re.M) if block else []


def known():
    """{noun: verbs} of the command itself."""
    nouns = words_below(r"Usage: .*\n", output("nas1", "--help"))
    return {noun: set(words_below("Subcommands:", output("nas1", noun, "--help"))) for noun in nouns}


def described(page):
    """{noun: verbs} that have an entry of their own in the page."""
    found = {}
    text = re.sub(r"\\f[BIR]", "", page)
    for entry in re.findall(r"^\.It (.*)$", text, re.M):
        for noun, verb in re.findall(r"\bnas1 ([a-z]+)(?: ([a-z]+))?", entry):
            found.setdefault(noun, set()).add(verb)
    return found


def completed(*words):
    """What the shell offers behind those words."""
    script = """source <(nas1 completion bash); set -- $(complete -p nas1); while [[ $1 != -F ]]; do shift; done
        function=$2; COMP_WORDS=(%s ''); COMP_CWORD=%d; COMP_LINE="%s "; COMP_POINT=${#COMP_LINE}
        "$function" nas1 '' "${COMP_WORDS[COMP_CWORD-1]}"; printf '%%s\\n' "${COMPREPLY[@]}" """
    return {w.strip() for w in output("bash", "-c", script % (" ".join(words), len(words), " ".join(words))).splitlines()}


def main():
    commands, page = known(), described(open(sys.argv[1], encoding="ascii").read())
    failures = [] if len(commands) > 3 else [f"nas1 --help lists {sorted(commands)}"]

    def compare(what, wanted, found):
        failures.extend(f"{what}: {word} is missing" for word in sorted(wanted - found))

    compare("page", set(commands), set(page))
    compare("command", set(page), set(commands))
    for noun, verbs in commands.items():
        told = page.get(noun, set()) - {""}
        compare(f"page, nas1 {noun}", verbs, told)
        # Behind a noun without verbs any word may follow.
        compare(f"command, nas1 {noun}", told if verbs else set(), verbs)
    if "completion" in commands:
        compare("completion", set(commands), completed("nas1"))
        for noun, verbs in commands.items():
            compare(f"completion, nas1 {noun}", verbs, completed("nas1", noun))

    print("\n".join(failures) or "the same words everywhere")
    sys.exit(bool(failures))


main()
