"""Manual pages of commands, from the Markdown that people read and edit (docs/nas1.md and its like)."""

import re
import textwrap

import mdoc

INLINE = re.compile(r"``\s?(.+?)\s?``|`([^`]+)`|\*\*(.+?)\*\*|\[([^\]]+)\]\([^)]*\)")

BULLET = re.compile(r"(?:[-*]|\d+\.) ")


def bold(text):
    return " ".join(f"\\fB{mdoc.escape(w)}\\fR" for w in text.split())


def inline(text):
    """Code and strong words become bold, links their text; a table's escaped bar becomes a bar."""
    text, done, at = text.replace("\\|", "|"), "", 0
    for match in INLINE.finditer(text):
        done += mdoc.escape(text[at:match.start()])
        code = match[1] or match[2] or match[3]
        done += bold(code) if code else mdoc.escape(match[4])
        at = match.end()
    return done + mdoc.escape(text[at:])


def cells(row):
    # A bar between backquotes or behind a backslash is none.
    return [cell.strip() for cell in re.split(r"(?<!\\)\|", row.strip()[1:-1])]


def macro(name, text):
    """A macro whose whole line is one prepared text."""
    return f".{name} {mdoc.guard(text)}"


class Page:
    """Reads the blocks of a document in order; each becomes its lines of mdoc."""

    def __init__(self, source, date):
        self.lines = source.splitlines()
        self.date = date
        self.at = 0
        self.out = []
        self.section = ""
        self.fresh = True  # right behind a heading, where no paragraph mark belongs
        title = re.fullmatch(r"# (\S+)\((\d)\)", self.lines[0])
        self.name, self.number = title[1], title[2]

    def take(self, belongs):
        """The lines from here on that belong together."""
        taken = []
        while self.at < len(self.lines) and belongs(self.lines[self.at]):
            taken.append(self.lines[self.at])
            self.at += 1
        return taken

    def render(self):
        self.out += mdoc.head(self.date, self.name, self.number)
        self.at = 1
        while self.at < len(self.lines):
            self.block(self.lines[self.at])
        return self.out

    def block(self, line):
        if not line.strip():
            self.at += 1
        elif line.startswith("#"):
            self.heading(line)
        elif line.startswith("    ") or line.startswith("```"):
            self.code(line)
        elif line.startswith("|"):
            self.table()
        elif BULLET.match(line):
            self.bullets()
        elif self.at + 1 < len(self.lines) and self.lines[self.at + 1].startswith(": "):
            self.definitions()
        else:
            self.text()

    def heading(self, line):
        level, text = line.split(" ", 1)
        self.at += 1
        if level == "##":
            self.section = text.upper()
        self.out.append(f".Sh {self.section}" if level == "##" else macro("Ss", inline(text)))
        self.fresh = True

    def code(self, line):
        if line.startswith("```"):
            self.at += 1
            shown = self.take(lambda l: not l.startswith("```"))
            self.at += 1
        else:
            shown = [l[4:] for l in self.take(lambda l: l.startswith("    ") or not l.strip())]
            while not shown[-1].strip():
                shown.pop()
        if self.section == "SYNOPSIS":
            for use in shown:
                words = " ".join(f"\\fI{w}\\fR" if w.isalpha() and w.isupper() else mdoc.escape(w) for w in use.split()[1:])
                self.out += [".Nm"] + textwrap.wrap(words, mdoc.WIDTH, break_on_hyphens=False) + [".br"]
            self.out.pop()
        else:
            self.out += mdoc.literal(shown)
        self.fresh = False

    def table(self):
        rows = [cells(row) for row in self.take(lambda l: l.startswith("|"))]
        heads, body = rows[0], rows[2:]
        widths = [max(len(re.sub("[`\\\\]", "", row[i])) for row in rows) for i in range(len(heads) - 1)]
        if len(heads) == 2:
            self.out.append(f".Bl -tag -width {min(widths[0] + 1, 24)}n -offset 2n -compact")
            for row in body:
                self.out += [macro("It", inline(row[0]))] + mdoc.paragraph(row[1], inline)
        else:
            self.out.append(".Bl -column " + " ".join(f'"{"x" * w}"' for w in widths + [8]))
            for row in [[f"**{h}**" for h in heads]] + body:
                self.out.append(".It " + " Ta ".join(inline(cell) or "\\&" for cell in row))
        self.out.append(".El")
        self.fresh = False

    def item(self, first):
        """The text of an item: its first line and what is indented below it."""
        self.at += 1
        return " ".join([first] + [l.strip() for l in self.take(lambda l: l.startswith(" ") and l.strip())])

    def bullets(self):
        self.out.append(".Bl -enum" if self.lines[self.at][0].isdigit() else ".Bl -bullet")
        while self.at < len(self.lines) and (mark := BULLET.match(self.lines[self.at])):
            self.out += [".It"] + mdoc.paragraph(self.item(self.lines[self.at][mark.end():]), inline)
        self.out.append(".El")
        self.fresh = False

    def definitions(self):
        """Terms, each with the paragraphs that explain it."""
        self.out.append(".Bl -tag -width 6n")
        while self.at + 1 < len(self.lines) and self.lines[self.at + 1].startswith(": "):
            self.out.append(macro("It", inline(self.lines[self.at])))
            self.at += 1
            self.out += mdoc.paragraph(self.item(self.lines[self.at][2:]), inline)
            self.take(lambda l: not l.strip())
            while self.at < len(self.lines) and re.match(r"  \S", self.lines[self.at]):
                self.out += [".Pp"] + mdoc.paragraph(self.item(self.lines[self.at].strip()), inline)
                self.take(lambda l: not l.strip())
        self.out.append(".El")
        self.fresh = False

    def text(self):
        text = " ".join(self.take(lambda l: l.strip() and not re.match(r"#|```|\||[-*] |\d+\. |: ", l)))
        if not text:  # a mark at an unexpected place: show it rather than stop
            text = self.lines[self.at]
            self.at += 1
        if self.section == "NAME":
            name, what = re.fullmatch(r"\*\*(.+)\*\*\s*[–-]+\s*(.+)", text).groups()
            self.out += [f".Nm {name}", f".Nd {mdoc.escape(what)}"]
        elif self.section == "SEE ALSO":
            self.out += mdoc.see_also(re.findall(r"([\w.-]+)\((\d)\)", text.replace("`", "").replace("*", "")))[1:]
        else:
            self.out += ([] if self.fresh else [".Pp"]) + mdoc.paragraph(text, inline)
        self.fresh = False


def render(source, date):
    page = Page(source, date)
    return page.name, page.number, page.render()
