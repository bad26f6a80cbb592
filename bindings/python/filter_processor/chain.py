"""Filters one behind the other."""

from __future__ import annotations

import copy
import json
import os
from collections.abc import Iterable, Iterator, Mapping, Sequence
from pathlib import Path
from typing import Any, overload

from . import _core
from .camera import Camera
from .filter import RUNNING, Filter, Runnable, make_filter
from .texts import check_text

__all__ = ["Chain", "presets"]

PRESETS = Path(__file__).with_name("presets")


class Chain(Runnable, Sequence[Filter]):
    """A chain of filters, called as a filter is.

    filters : filters, texts as on ``gxfilter``'s command line
        (``"HoleFillingFilter:hole_filling_mode=nearest"``), and entries of chain files
        (``{"filter": ..., "params": {...}}``). Filters that are given stay yours: what you set on them
        counts here too.
    camera : facts that win over those that frames bring along.
    unchecked : of texts and entries, leaves values outside the schemas' ranges to the filters.
    """

    description: str = ""  # of a preset: what it is good for
    when_not: str = ""  # of a preset: when not to use it

    def __init__(
        self,
        filters: Iterable[Filter | str | Mapping[str, Any]],
        *,
        camera: Camera | None = None,
        unchecked: bool = False,
    ) -> None:
        if isinstance(filters, (str, Filter)):
            raise TypeError("a chain takes a list of filters")
        self._filters = [_as_filter(item, unchecked) for item in filters]
        if not self._filters:
            raise ValueError("a chain needs at least one filter")
        self._connect(camera)

    @classmethod
    def _of_preset(cls, preset: Mapping[str, Any], camera: Camera | None, unchecked: bool) -> Chain:
        chain = cls([_of_request(request, unchecked) for request in preset["chain"]], camera=camera)
        chain.description = preset["description"]
        chain.when_not = preset["when_not"]
        return chain

    @classmethod
    def from_json(cls, text: str, *, camera: Camera | None = None, unchecked: bool = False) -> Chain:
        """Reads what ``gxfilter run --chain`` takes: a list of filters, or a preset."""
        return cls._of_preset(_core.parse_chain(check_text("the chain", text)), camera, unchecked)

    @classmethod
    def load(
        cls, path: str | os.PathLike[str], *, camera: Camera | None = None, unchecked: bool = False
    ) -> Chain:
        """The same from a file."""
        return cls.from_json(Path(path).read_text("utf-8"), camera=camera, unchecked=unchecked)

    @classmethod
    def preset(cls, name: str, *, camera: Camera | None = None) -> Chain:
        """A chain that comes with the package, by its name; ``presets()`` lists them."""
        return cls._of_preset(_core.find_preset(PRESETS, name), camera, False)

    def to_json(self, *, indent: int | None = 2) -> str:
        """The chain as ``gxfilter run --chain`` and ``from_json`` read it, without the camera."""
        chain = [item.to_dict() for item in self._filters]
        if not (self.description or self.when_not):
            return json.dumps(chain, indent=indent)
        preset = {"description": self.description, "when_not": self.when_not, "chain": chain}
        return json.dumps({key: value for key, value in preset.items() if value}, indent=indent)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes ``to_json`` into a file."""
        Path(path).write_text(self.to_json() + "\n", "utf-8")

    def _instances(self) -> list[_core.Instance]:
        return [item._instance for item in self._filters]

    def __len__(self) -> int:
        return len(self._filters)

    def __iter__(self) -> Iterator[Filter]:
        return iter(self._filters)

    @overload
    def __getitem__(self, index: int) -> Filter: ...

    @overload
    def __getitem__(self, index: slice) -> Chain: ...

    def __getitem__(self, index: int | slice) -> Filter | Chain:
        if isinstance(index, slice):
            return Chain(self._filters[index], camera=self._camera)
        return self._filters[index]

    def __repr__(self) -> str:
        camera = "" if self._camera is None else f", camera={self._camera!r}"
        return f"Chain([{', '.join(map(repr, self._filters))}]{camera})"

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Chain):
            return NotImplemented
        return self._filters == other._filters and self._camera == other._camera

    __hash__ = None  # type: ignore[assignment]

    def __copy__(self) -> Chain:
        restore, arguments, own = self.__reduce__()
        kind, filters, camera = arguments
        copies = {id(each): copy.copy(each) for each in filters}  # one may stand in a chain twice
        made = restore(kind, [copies[id(each)] for each in filters], camera)
        vars(made).update(own or {})
        return made  # type: ignore[no-any-return]

    def __reduce__(self) -> tuple[Any, ...]:
        own = {key: value for key, value in vars(self).items() if key not in RUNNING}
        return _restore, (type(self), self._filters, self._camera), own or None


def _of_request(request: tuple[str, dict[str, str], str], unchecked: bool) -> Filter:
    name, values, record = request
    return make_filter(name, values, record, None, unchecked)


def _as_filter(item: Filter | str | Mapping[str, Any], unchecked: bool) -> Filter:
    if isinstance(item, Filter):
        if type(item).__call__ is not Runnable.__call__:
            raise TypeError(f"{type(item).__name__} has a __call__ of its own, which a chain does not call")
        return item
    if isinstance(item, str):
        return Filter.from_text(item, unchecked=unchecked)
    if isinstance(item, Mapping):
        return _of_request(_core.parse_chain(json.dumps([dict(item)]))["chain"][0], unchecked)
    raise TypeError(f"a chain is made of filters and texts, not of {type(item).__name__}")


def _restore(kind: type[Chain], filters: list[Filter], camera: Camera | None) -> Chain:
    chain = kind.__new__(kind)
    chain._filters = filters
    chain._connect(camera)
    return chain


def presets() -> dict[str, Chain]:
    """The chains that come with the package, by their names."""
    return {
        name: Chain._of_preset(preset, None, False) for name, preset in _core.presets(PRESETS).items()
    }
