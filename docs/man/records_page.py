"""The page of the record files: layouts computed from the structs of the sources, whose comments say what a field is.

The library's static_asserts pin sizes and offsets; each computed one is compared with them, so a page that differs from
the code cannot be made."""

import re

import mdoc

SIZES = {"uint8_t": 1, "char": 1, "uint32_t": 4, "int32_t": 4}
FIELD = re.compile(r"^\s*(?:std::)?(\w+) (\w+)((?:\[[^\]]+\])*);\s*(?:(?://|/\*)\s*(.*?)\s*(?:\*/)?)?$")


class Layouts:
    def __init__(self, sources):
        self.source = "\n".join(sources)
        self.constants = {n: int(v) for n, v in re.findall(r"\b([A-Za-z_]\w+) = (\d+)[,; }]", self.source)}

    def struct(self, name):
        found = re.search(r"struct (?:\[\[gnu::packed\]\] )?%s \{\n(.*?)^\}" % name, self.source, re.S | re.M)
        if not found:
            raise SystemExit(f"there is no struct {name} in the sources")
        return found[1].splitlines()

    def count(self, dimensions):
        count = 1
        for dimension in re.findall(r"\[([^\]]+)\]", dimensions):
            count *= int(dimension) if dimension.isdigit() else self.constants[dimension]
        return count

    def size_of(self, cType):
        return SIZES[cType] if cType in SIZES else sum(size for _, size, _, _, _ in self.fields(cType))

    def fields(self, name):
        """(offset, bytes, type, field, meaning) of each."""
        found, offset = [], 0
        for line in self.struct(name):
            match = FIELD.match(line)
            if not match:
                if line.strip():
                    raise SystemExit(f"struct {name}: cannot read the line: {line}")
                continue
            cType, field, dimensions, meaning = match.groups()
            size = self.size_of(cType) * self.count(dimensions)
            found.append((offset, size, cType + dimensions, field, meaning or ""))
            offset += size
        return found

    def check(self, name, fields):
        for field, offset in re.findall(r"offsetof\(%s, (\w+)\) == (\d+)" % name, self.source):
            if not any(f[3] == field and f[0] == int(offset) for f in fields):
                raise SystemExit(f"{name}.{field} is not at {offset} by the struct in the sources")
        sizes = re.findall(r"sizeof\(%s\) == (\w+)[,)]" % name, self.source)
        for size in sizes:
            if size in self.constants or size.isdigit():
                if self.size_of(name) != int(self.constants.get(size, size)):
                    raise SystemExit(f"{name} does not have {size} bytes by the struct in the sources")

    def table(self, name):
        fields = self.fields(name)
        self.check(name, fields)
        shownType = {"uint8_t": "bytes", "char": "text", "uint32_t": "unsigned", "int32_t": "signed"}
        rows = [("at", "bytes", "type", "field", "meaning")]
        for offset, size, cType, field, meaning in fields:
            base = re.sub(r"\[.*", "", cType)
            rows.append((str(offset), str(size), shownType.get(base, base), field, mdoc.escape(meaning)))
        lines = [".Bl -column " + " ".join(f'"{max((row[i] for row in rows), key=len)}"' for i in range(4)) + ' "meaning"']
        lines += [".It " + " Ta ".join(cell or "\\&" for cell in row) for row in rows]
        return lines + [".El"]


def render(template, sources, date):
    layouts = Layouts(sources)
    return mdoc.head(date, "nas1-records", 5) + mdoc.fill(template, {"layout": layouts.table})
