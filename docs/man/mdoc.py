"""What the makers of the manual pages share: texts, sentences and displays in the mdoc language."""

import re
import textwrap

WIDTH = 78
SENTENCE_END = re.compile(r"(?<=[a-z0-9A-Z)\"'`_*>\]][.!?])[)\"']*\s+|(?<=[.!?][)\"'])\s+")
NO_SENTENCE_END = ("e.g.", "i.e.", "etc.", "...")


def escape(text):
    """A text as it stands, safe anywhere in a line but at its beginning."""
    text = text.replace("\\", "\\e")
    for character, name in (("–", "\\(en"), ("…", "..."), ("→", "\\(->"), ("“", "\\(lq"), ("”", "\\(rq")):
        text = text.replace(character, name)
    return "".join(c if ord(c) < 128 else "\\[u%04X]" % ord(c) for c in text)


def guard(line):
    """A text line that must not be taken for a macro."""
    return "\\&" + line if line[:1] in (".", "'") else line


def word(text):
    """One argument of a macro."""
    text = escape(text)
    if text == "" or re.search(r'[\s"]', text):
        text = '"' + text.replace('"', '""') + '"'
    # Short words could be macro names, a single mark a delimiter.
    return "\\&" + text if re.fullmatch(r"[A-Z][a-z][a-z]?|[.,:;()\[\]?!|]", text) else text


def sentences(text):
    """Splits where the language wants a new input line."""
    parts, begin = [], 0
    for match in SENTENCE_END.finditer(text):
        piece = text[begin:match.end()].strip()
        if piece.endswith(NO_SENTENCE_END) or text[match.end():match.end() + 1].islower():
            continue
        parts.append(piece)
        begin = match.end()
    rest = text[begin:].strip()
    return parts + [rest] if rest else parts


def paragraph(text, inline=escape):
    """Text lines of a paragraph; `inline` turns its marks into fonts."""
    lines = []
    for sentence in sentences(" ".join(text.split())):
        # Blanks inside a font change must not become line ends: fonts are per word there, so any break will do.
        lines += textwrap.wrap(inline(sentence), WIDTH, break_long_words=False, break_on_hyphens=False)
    return [guard(line) for line in lines]


def literal(lines):
    """A display of lines as they stand."""
    shown = [guard(escape(line)) for line in lines]
    return [".Bd -literal -offset 2n"] + shown + [".Ed"]


def head(date, name, section):
    return [".\\\" Generated from the sources; changes belong there.", f".Dd {date}", f".Dt {name.upper()} {section}", ".Os"]


def see_also(references):
    """(name, section) pairs; sorted by section, then name."""
    references = sorted(references, key=lambda r: (r[1], r[0]))
    return [".Sh SEE ALSO"] + [
        f".Xr {name} {section}" + (" ," if i + 1 < len(references) else "") for i, (name, section) in enumerate(references)
    ]


def fill(template, pieces):
    """A hand-written page whose lines `@name@` and `@name argument@` are replaced by pieces[name](argument)."""
    lines = []
    for line in template.splitlines():
        match = re.fullmatch(r"@(\w+)(?: (.*))?@", line)
        lines += pieces[match[1]](match[2]) if match else [line]
    return lines
