"""make_filters.py PACKAGE_FOLDER SOURCE_TREE: writes filters.py and filters.pyi of the package.

Names, types, ranges and defaults come from the schemas of the plug-in that the package carries. What
the docstrings say besides comes from the documentation, where it knows the filter: what it is for from
the README's table of filters, the units from the tables of docs/filters.md.
"""

from __future__ import annotations

import importlib.util
import keyword
import re
import sys
import textwrap
from pathlib import Path
from types import ModuleType
from typing import Any

Schema = dict[str, Any]

HEAD = '''"""The filters, made of the plug-in's schemas when the package was built."""
'''

KINDS = {"integer": "int", "uint32_t": "int", "bool": "bool", "float": "float", "double": "float"}


def load_core(package: Path) -> ModuleType:
    """The extension alone: the package around it is not there yet."""
    path = next(package.glob("_core.*.so"))
    spec = importlib.util.spec_from_file_location("_core", path)
    assert spec is not None and spec.loader is not None
    core = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(core)
    core.load_plugin(next(package.glob("libFilterProcessor.so*")))
    return core


def purposes(readme: Path) -> dict[str, tuple[str, str]]:
    """What each filter does and when to use it."""
    rows = re.findall(r"^\| `(\w+)` \| (.+?) \| (.+?) \|$", readme.read_text("utf-8"), re.MULTILINE)
    return {name: (what, when) for name, what, when in rows}


def meanings(page: Path) -> dict[str, dict[str, str]]:
    """What each parameter of each filter is, with its unit."""
    known: dict[str, dict[str, str]] = {}
    for section in re.split(r"^## ", page.read_text("utf-8"), flags=re.MULTILINE)[1:]:
        name = section.split("\n", 1)[0].strip(" `")
        section = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", section)  # links
        _, _, table = section.partition("| key | meaning | unit |")
        for keys, meaning, unit in re.findall(r"^\| (`.+?`) \| (.+?) \| (.*?) ?\| .+ \|$", table, re.M):
            for key in re.findall(r"`(\w+)`", keys):
                known.setdefault(name, {})[key] = meaning + ("" if unit in ("–", "") else f", {unit}")
    for parameters in known.values():
        for key, meaning in parameters.items():
            if meaning.startswith("as above"):
                parameters[key] = next(each[key] for each in known.values() if key in each)
    return known


def kind_of(parameter: Schema) -> str:
    return KINDS.get(parameter["type"], "str")


def argument_type(parameter: Schema) -> str:
    """What may be given: also the names that the schema has for values."""
    names = ", ".join(f'"{name}"' for name in parameter["names"])
    return kind_of(parameter) + (f" | Literal[{names}]" if names else "")


def default_of(parameter: Schema) -> str:
    text = parameter["default"]
    kind = kind_of(parameter)
    if kind == "bool":
        return str(text not in ("0", "false"))
    return repr({"int": int, "float": float}.get(kind, str)(text))


def sentence(parameter: Schema, meaning: str) -> str:
    """A parameter in words: what it is, what is allowed, what it is by default."""
    description = meaning or re.sub(r"\s+([.,])", r"\1", parameter["description"].strip()).rstrip(".")
    default = default_of(parameter)
    for name, value in parameter["names"].items():
        if value == parameter["default"]:
            default += f" ({name})"
    steps = f" in steps of {parameter['step']}" if parameter["step"] not in ("", "0.01", "0.001", "1") else ""
    allowed = "" if kind_of(parameter) == "bool" else f" Allowed: {parameter['allowed']}{steps}."
    return f"{description[:1].upper()}{description[1:]}.{allowed} Default: {default}."


def docstring(
    name: str, schema: list[Schema], purpose: tuple[str, str] | None, known: dict[str, str]
) -> str:
    lines = []
    if purpose is not None:
        what, when = (text.replace("×", "x") for text in purpose)
        lines += textwrap.wrap(f"{what[:1].upper()}{what[1:]}.", 92)
        lines += ["", *textwrap.wrap(f"When to use it: {when}.", 92)]
    else:
        lines += [name + "."]
    if schema:
        lines += ["", "Parameters"]
    for parameter in schema:
        lines += ["", f"{parameter['name']} : {argument_type(parameter)}"]
        text = sentence(parameter, known.get(parameter["name"], ""))
        lines += textwrap.wrap(text, 92, initial_indent="    ", subsequent_indent="    ")
    body = "\n".join(f"    {line}".rstrip() for line in lines).strip()
    return f'    r"""{body}\n    """\n'


def class_text(name: str, schema: list[Schema], doc: str, stub: bool) -> str:
    for parameter in schema:
        if not parameter["name"].isidentifier() or keyword.iskeyword(parameter["name"]):
            sys.exit(f"{name}: '{parameter['name']}' can't be a keyword of Python")
    arguments = [f"{p['name']}: {argument_type(p)} = {default_of(p)}" for p in schema]
    arguments += ["camera: Camera | None = None"]
    text = f"class {name}(Filter):\n{doc}\n"
    for parameter in schema:
        if stub:
            kind = f"{kind_of(parameter)}, {argument_type(parameter)}"
            text += f"    {parameter['name']}: Parameter[{kind}]\n"
        else:
            text += f"    {parameter['name']} = Parameter({parameter!r}, {kind_of(parameter)})\n"
    if not stub:
        text += f"    _name = {name!r}\n"
        text += f"    schema = ({''.join(p['name'] + ', ' for p in schema)})\n".replace(", )", ",)")
        text += "\n    @refuses_unknown_keywords\n"
    else:
        text += "\n"
    text += "    def __init__(\n        self,\n        *,\n"
    text += "".join(f"        {argument},\n" for argument in arguments) + "    ) -> None:"
    if stub:
        return text + " ...\n"
    given = ", ".join(f'"{p["name"]}": {p["name"]}' for p in schema)
    return text + f"\n        self._begin({{{given}}}, camera)\n"


def main(package: Path, tree: Path) -> None:
    schemas = load_core(package).schemas()
    purpose = purposes(tree / "README.md")
    known = meanings(tree / "docs" / "filters.md")
    names = "".join(f'    "{name}",\n' for name, _ in schemas)
    for suffix, stub in ((".py", False), (".pyi", True)):
        text = HEAD + "\nfrom __future__ import annotations\n\nfrom typing import Literal\n\n"
        text += "from .camera import Camera\n"
        text += "from .filter import Filter, Parameter"
        text += "\n" if stub else ", refuses_unknown_keywords\n"
        text += f"\n__all__ = [\n{names}]\n"
        for name, schema in schemas:
            doc = docstring(name, schema, purpose.get(name), known.get(name, {}))
            text += "\n\n" + class_text(name, schema, doc, stub)
        (package / f"filters{suffix}").write_text(text, "utf-8")


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
