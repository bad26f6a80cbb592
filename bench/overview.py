"""overview.py TABLES OVERVIEW

Copies the milliseconds of whole calls at 1280x800 from the document with the benchmark's tables into
the overview of the filters, behind whose times the rows stand in brackets: "1.2 / 0.6 (noisy)".
"""

import pathlib
import re
import sys


def milliseconds(tables: str) -> dict[str, str]:
    """Filter/row -> "ms at each level", with the level names as "levels"."""
    section = tables.split("### 1280x800")[1]
    head, _, *rows = (line.strip("| ").split(" | ") for line in section[section.index("| whole call") :].splitlines())
    of_levels = [column for column, title in enumerate(head) if title.endswith(" ms")]
    found = {"levels": " / ".join(head[column].removesuffix(" ms") for column in of_levels)}
    for row in rows:
        if len(row) != len(head):
            break
        found[row[0]] = " / ".join(row[column] for column in of_levels)
    return found


def main() -> None:
    tables, overview = (pathlib.Path(name) for name in sys.argv[1:])
    text = tables.read_text()
    times = milliseconds(text)
    lines = overview.read_text().splitlines(keepends=True)
    for i, line in enumerate(lines):
        if row := re.match(r"\| \d+ \| `(\w+)` \|", line):
            name = row[1]
            lines[i] = re.sub(r"[\d.]+( / [\d.]+)* \((\w+)\)", lambda each: f"{times[f'{name}/{each[2]}']} ({each[2]})", line)
    measured = re.search(r"Measured on ([\d-]+)", text)
    if not measured:
        sys.exit(f"{sys.argv[1]} does not say when it was measured")
    replaced = "".join(lines)
    overview.write_text(re.sub(r"(at the levels) .*?, measured on [\d-]+", rf"\1 {times['levels']}, measured on {measured[1]}", replaced))


if __name__ == "__main__":
    main()
