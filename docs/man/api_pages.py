"""Manual pages of the library, a page per family, from the public header: its comments are the one description."""

import re

import mdoc

FAMILY = re.compile(r"^/\* -{4} (.+?) -+ \*/$", re.M)
ARGUMENT = re.compile(r"^ {2,3}(\w+(?:, \w+)*) {1,}(\S.*)$")
FUNCTION = re.compile(r"(?:^|\s|\*)(\w+)\((.*)\)\s*;$", re.S)


class Item:
    """A comment of the header with the declarations that follow it."""

    def __init__(self, comment, code):
        self.comment, self.code = comment, code
        code = re.sub(r"__attribute__\(\(format\(.*?\)\)\)\s*", "", code)
        # A type is shown as it stands, with what its fields mean; functions and variables are told apart from it.
        self.isType = bool(re.match(r"(typedef )?(enum|struct)\b", code))
        self.declarations = [] if self.isType else [" ".join(d.split()) + ";" for d in code.split(";") if d.strip()]
        self.functions = [d for d in self.declarations if function_name(d)]
        self.variables = [d for d in self.declarations if not function_name(d)]


def function_name(declaration):
    match = FUNCTION.search(declaration)
    return match[1] if match and "(*" not in declaration.split(match[1] + "(")[0] else None


def strip_comment(comment):
    """The lines of a comment without its frame, each with its indentation behind the star."""
    lines = comment[2:-2].splitlines()
    return [re.sub(r"^ \*", "", line) if i else line for i, line in enumerate(lines)]


def items(text):
    """The comments and declarations of one family, in order."""
    found = []
    # A comment at the left margin opens an item; what stands up to the next one belongs to it.
    for part in re.split(r"(?m)^(?=/\*)", text):
        part = part.strip()
        if not part:
            continue
        comment, code = "", part
        if part.startswith("/*"):
            end = part.index("*/") + 2
            comment, code = part[:end], part[end:]
        # A blank line ends what the comment is about; further declarations stand for themselves.
        for i, block in enumerate(re.split(r"\n\s*\n", code)):
            if block.strip() or i == 0:
                found.append(Item(strip_comment(comment) if i == 0 and comment else [], block.strip()))
    return found


def families(header):
    """(title, items) of each family."""
    end = header.index("#ifdef __cplusplus\n}")
    marks = list(FAMILY.finditer(header)) + [None]
    return [
        (mark[1], items(header[mark.end():(after.start() if after else end)])) for mark, after in zip(marks, marks[1:])
    ]


def page_name(title):
    return "nas1api_" + title.split(",")[0].lower().replace(" ", "_")


def documented(names):
    """Texts that name functions; what is one gets its font."""

    def inline(text):
        text = mdoc.escape(text)
        return re.sub(r"\b(\w+)\b", lambda m: f"\\fB{m[1]}\\fR" if m[1] in names else m[1], text)

    return inline


def prose(lines, inline):
    """A comment's lines as paragraphs, tables of arguments and closing sentences."""
    out, text, arguments = [], [], []

    def end_text():
        if text:
            out.extend(([".Pp"] if out else []) + mdoc.paragraph(" ".join(text), inline))
            text.clear()

    def end_arguments():
        if arguments:
            out.append(f".Bl -tag -width {max(len(a) for a, _ in arguments) + 1}n -offset 2n -compact")
            for name, what in arguments:
                out.extend([f".It Fa {name}" if "," not in name else ".It " + " , ".join(f"Fa {n}" for n in name.split(", "))])
                out.extend(mdoc.paragraph(" ".join(what), inline))
            out.append(".El")
            arguments.clear()

    for line in lines:
        argument = ARGUMENT.match(line)
        bullet = re.match(r"^ +- (.*)", line)
        if bullet:
            end_text()
            end_arguments()
            text.append(bullet[1])
        elif argument:
            end_text()
            arguments.append((argument[1], [argument[2]]))
        elif arguments and line.startswith("    "):
            arguments[-1][1].append(line.strip())
        else:
            end_arguments()
            text.append(line.strip())
    end_text()
    end_arguments()
    return out


def arguments_of(declaration):
    inner = FUNCTION.search(declaration)[2]
    return [] if inner.strip() in ("", "void") else [a.strip() for a in inner.split(",")]


def synopsis(item):
    out = []
    for declaration in item.variables:
        out.append(f".Vt {mdoc.word(declaration[:-1])}" + " ;")
    for declaration in item.functions:
        name = function_name(declaration)
        result = declaration[:declaration.index(name + "(")].strip()
        out += [f".Ft {mdoc.word(result)}", f".Fn {name} " + " ".join(f'"{mdoc.escape(a)}"' for a in arguments_of(declaration) or ["void"])]
    return out


def description(item, inline):
    names = [function_name(f) for f in item.functions] + [re.findall(r"\b(\w+)\b(?=\)?[\[;(])", v)[0] for v in item.variables]
    lines = list(item.comment)
    if item.functions and lines:
        # "Name: text" repeats the heading.
        lines[0] = re.sub(r"^\s*[\w, ]+: ", "", lines[0], count=1)
        if re.match(r"[a-z]+\b(?!_)", lines[0]):
            lines[0] = lines[0][0].upper() + lines[0][1:]
    out = [f".Ss {' , '.join(names)}"] if names else []
    out += prose(lines, inline) if names else ([".Pp"] + prose(lines, inline) if lines else [])
    if item.isType:
        out += mdoc.literal(re.sub(r" __attribute__\(\(packed\)\)", "", item.code).splitlines())
    return out


def family_page(title, found, date):
    functions = [function_name(f) for item in found for f in item.functions]
    names = functions or [page_name(title)]
    inline = documented(set(functions))
    lines = mdoc.head(date, page_name(title), 3) + [".Sh NAME"]
    lines += [f".Nm {n}" + (" ," if n != names[-1] else "") for n in names]
    lines += [f".Nd {title[0].lower() + title[1:] if not title[1].isupper() else title}", ".Sh SYNOPSIS", ".In nas1api.h"]
    for item in found:
        lines += synopsis(item)
    lines.append(".Sh DESCRIPTION")
    for item in found:
        lines += description(item, inline)
    # A paragraph mark right behind a heading is one too many.
    lines = [l for i, l in enumerate(lines) if l != ".Pp" or not re.match(r"\.S[hs] ", lines[i - 1])]
    return lines + mdoc.see_also([("nas1api", 3)])


def render(header, template, example, date):
    """All pages: {file name: lines}; a function's name has the file name of its family. `example` is a program in C."""
    pages, listed = {}, []
    for title, found in families(header):
        name = page_name(title)
        functions = [function_name(f) for item in found for f in item.functions]
        pages[f"{name}.3"] = family_page(title, found, date)
        for function in functions:
            pages[f"{function}.3"] = f"{name}.3"
        listed.append((name, title, functions))

    conventions = strip_comment(re.search(r"/\*.*?\*/", header, re.S)[0])
    overview = []
    for name, title, functions in listed:
        overview += [f".It Xr {name} 3", mdoc.escape(title)] + ([".br"] + mdoc.paragraph(", ".join(functions)) if functions else [])
    common = items(header[header.index('extern "C" {\n#endif') + len('extern "C" {\n#endif'):FAMILY.search(header).start()])
    pieces = {
        "types": lambda _: [line for item in common for line in description(item, documented(set()))],
        "conventions": lambda _: prose(conventions, documented(set())),
        "example": lambda _: mdoc.literal(example.splitlines()),
        "families": lambda _: [".Bl -tag -width Ds"] + overview + [".El"],
    }
    pages["nas1api.3"] = mdoc.head(date, "nas1api", 3) + mdoc.fill(template, pieces)
    return pages
