#!/usr/bin/env python3
"""Makes the manual pages: pages.py CHECKOUT FOLDER writes FOLDER/man1/nas1.1 and so on."""

import email.utils
import re
import sys
from pathlib import Path

import api_pages
import command_page
import config_page
import records_page


def main(checkout, folder):
    def read(path):
        return (checkout / path).read_text(encoding="utf-8")

    # The date of the pages is that of the version.
    released = email.utils.parsedate_to_datetime(re.search(r"^ -- .*>  (.*)$", read("debian/changelog"), re.M)[1])
    date = f"{released:%B} {released.day}, {released.year}"
    header = read("src/api/nas1api.h")
    example = re.search(r"^```c\n(.*?)^```", read("README.md"), re.S | re.M)[1]

    pages = api_pages.render(header, read("docs/man/nas1api.3.in"), example, date)
    pages["nas1.conf.5"] = config_page.render(
        read("docs/man/nas1.conf.5.in"), read("src/config/key_table.h") + read("src/config/key_table.cpp"),
        read("src/config/numeric_ids.inc"), read("cli/config_keys.cpp"), read("appliance/root/etc/default.zelmar"), date)
    sources = [header] + [p.read_text(encoding="utf-8") for p in sorted((checkout / "src").glob("*/*.h")) if p.name != "nas1api.h"]
    sources += [p.read_text(encoding="utf-8") for p in sorted((checkout / "src").glob("*/*.cpp"))]
    pages["nas1-records.5"] = records_page.render(read("docs/man/nas1-records.5.in"), sources, date)
    for document in sorted((checkout / "docs").glob("*.md")):
        text = document.read_text(encoding="utf-8")
        # Those that begin with a page's name and section are manual pages.
        if re.match(r"# [\w.-]+\(\d\)\n", text):
            name, section, lines = command_page.render(text, date)
            pages[f"{name}.{section}"] = lines

    for name, lines in pages.items():
        place = folder / f"man{name[-1]}" / name
        place.parent.mkdir(parents=True, exist_ok=True)
        place.unlink(missing_ok=True)
        if isinstance(lines, str):  # another name of that page
            place.symlink_to(lines)
        else:
            place.write_text("\n".join(lines) + "\n", encoding="ascii")


main(Path(sys.argv[1]), Path(sys.argv[2]))
