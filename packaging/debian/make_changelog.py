"""make_changelog.py CHANGELOG.md VERSION MAINTAINER OUTPUT: the changelog as Debian's packages carry it.

An entry for each version of CHANGELOG.md; what is unreleased counts as VERSION. A version without a date of its
own ("## X.Y.Z - 2026-01-31") has that of the sources, SOURCE_DATE_EPOCH.
"""

import os
import re
import sys
import textwrap
from datetime import datetime, timezone
from email.utils import format_datetime
from pathlib import Path


def entries(text: str) -> list[tuple[str, str, list[str]]]:
    """Of each version: its name, its date or nothing, and its items."""
    found = []
    for section in re.split(r"^## ", text, flags=re.MULTILINE)[1:]:
        heading, _, body = section.partition("\n")
        match = re.fullmatch(r"\[?([\w.]+)\]?(?: - (\d{4}-\d{2}-\d{2}))?", heading.strip())
        if match is None:
            raise SystemExit(f"the changelog's heading is not understood: {heading}")
        items = [" ".join(item.split()) for item in re.findall(r"^- (.+?)(?=^\S|\Z)", body, re.M | re.S)]
        if not items:
            raise SystemExit(f"the changelog says nothing of {heading}")
        found.append((match[1], match[2] or "", items))
    return found


def plain(item: str) -> str:
    """Without links and code marks, which nothing shows there."""
    return re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", item).replace("`", "")


def main(source: str, version: str, maintainer: str, output: str) -> None:
    lines: list[str] = []
    versions = entries(Path(source).read_text("utf-8"))
    if versions[0][0] not in ("Unreleased", version):
        raise SystemExit(f"the changelog begins with {versions[0][0]}, the version is {version}")
    for name, day, items in versions:
        when = (datetime.fromisoformat(day).replace(tzinfo=timezone.utc) if day
                else datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), timezone.utc))
        lines += [f"filterprocessor ({version if name == 'Unreleased' else name}) unstable; urgency=medium", ""]
        for item in items:
            lines += textwrap.wrap(plain(item), 76, initial_indent="  * ", subsequent_indent="    ",
                                   break_long_words=False, break_on_hyphens=False)
        lines += ["", f" -- {maintainer}  {format_datetime(when)}", ""]
    Path(output).write_text("\n".join(lines), "utf-8")


main(*sys.argv[1:])
