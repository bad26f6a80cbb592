"""What all filters share."""

from __future__ import annotations

import difflib
import functools
import inspect
import numbers
import os
from collections.abc import Callable, Iterable, Iterator, Mapping
from typing import TYPE_CHECKING, Any, ClassVar, Generic, TypeVar, overload

import numpy as np

from . import _core
from .camera import Camera
from .frame import Frame, frames_of
from .texts import check_kind, check_text

if TYPE_CHECKING:
    from numpy.typing import NDArray

__all__ = ["Filter", "Parameter", "Runnable"]

Got = TypeVar("Got")
Given = TypeVar("Given")
Function = TypeVar("Function", bound=Callable[..., None])
Self = TypeVar("Self", bound="Runnable")
AnyFilter = TypeVar("AnyFilter", bound="Filter")


class Parameter(Generic[Got, Given]):
    """A parameter of a filter, as its schema describes it; an attribute of the filter."""

    def __init__(self, schema: Mapping[str, Any], kind: Callable[[Any], Got]) -> None:
        self.name: str = schema["name"]
        self.line: str = schema["line"]  # of the schema
        self.names: dict[str, str] = schema["names"]  # of values that have one
        self.kind = kind
        self.default: Got = self.read(schema["default"])
        self.__doc__ = f"{schema['description']} ({schema['allowed'] or 'anything'})"

    def read(self, text: str) -> Got:
        """A filter's text as a value of Python."""
        return self.kind(int(text) if self.kind is bool else text)

    def text_of(self, value: Any) -> str:
        """A value of Python as the filters' text."""
        if isinstance(value, str):
            return value
        if isinstance(value, (bool, np.bool_)):
            return str(int(value))
        if isinstance(value, numbers.Integral):
            return str(int(value))
        if isinstance(value, numbers.Real):
            # In its own precision: 0.3, not the 0.30000001 of float32.
            number = float(str(value)) if isinstance(value, np.floating) else float(value)
            return str(int(number)) if number.is_integer() else repr(number)
        raise TypeError(f"{self.name} must be a number, not {type(value).__name__}")

    def shown(self, value: Got) -> Any:
        """The value's name where it has one."""
        text = self.text_of(value)
        return next((name for name, number in self.names.items() if number == text), value)

    @overload
    def __get__(self, owner: None, cls: type) -> Parameter[Got, Given]: ...

    @overload
    def __get__(self, owner: Filter, cls: type) -> Got: ...

    def __get__(self, owner: Filter | None, cls: type) -> Parameter[Got, Given] | Got:
        return self if owner is None else owner._values()[self]

    def __set__(self, owner: Filter, value: Given) -> None:
        owner.update(**{self.name: value})


def refuses_unknown_keywords(init: Function) -> Function:
    """Names the valid keywords where one is unknown."""
    valid = [name for name in inspect.signature(init).parameters if name != "self"]

    @functools.wraps(init)
    def checked(self: Filter, /, *positional: Any, **values: Any) -> None:
        if positional:
            raise TypeError(f"{type(self).__name__} takes keywords alone: {', '.join(valid)}")
        check_keywords(type(self).__name__, values, valid)
        init(self, **values)

    return checked  # type: ignore[return-value]


def check_keywords(name: str, given: Iterable[str], valid: list[str]) -> None:
    for key in given:
        if key not in valid:
            raise TypeError(_unknown(name, key, valid))


def _unknown(name: str, key: str, valid: list[str]) -> str:
    close = difflib.get_close_matches(key, valid, n=1)
    hint = f" (did you mean {close[0]!r}?)" if close else ""
    return f"{name} has no parameter {key!r}{hint}; it has {', '.join(valid)}"


# What is not copied, but made anew.
RUNNING = ("_instance", "_pipeline", "_camera", "_filters")


class Runnable:
    """What frames can be sent through: a filter or a chain.

    May be used by several threads; each frame, and each stack of frames, goes through undisturbed by other
    calls of the same object. A filter that is also called by itself, or is in another chain, sees those
    frames in between those of a stack. Other Python threads run meanwhile.
    """

    _pipeline: _core.Pipeline
    _camera: Camera | None

    def __getattr__(self, name: str) -> Any:
        if name in RUNNING:
            raise AttributeError(f"{type(self).__name__}.__init__ has to call super().__init__() first")
        raise AttributeError(f"{type(self).__name__!r} object has no attribute {name!r}")

    @overload
    def __call__(self, depth: NDArray[np.uint16], *, out: None = None) -> Frame: ...

    @overload
    def __call__(self, depth: NDArray[np.uint16], *, out: NDArray[np.uint16]) -> NDArray[np.uint16]: ...

    def __call__(self, depth: NDArray[np.uint16], *, out: Any = None) -> Any:
        """The filtered frame, or frames of a stack.

        depth : uint16, H x W or N x H x W; 0 marks pixels without data. Read where it lies if it is
            C-contiguous, else from a copy; never changed. Nobody else may change it meanwhile.
        out : written to and returned, where it is given: a uint16 array of the result's shape that shares
            no memory with the input. Otherwise the result is a new array.
        """
        return self._pipeline.process(depth, out)

    def stream(self, frames: Iterable[NDArray[np.uint16]], *, reset: bool = True) -> Iterator[Frame]:
        """The filtered frames one by one, as they are asked for. Frames of a recording keep their time
        stamps and names. Begins without history unless ``reset`` is false."""
        if reset:
            self.reset()
        for frame in frames_of(frames):
            yield self(frame)

    def _instances(self) -> list[_core.Instance]:
        raise NotImplementedError

    def _connect(self, camera: Camera | None) -> None:
        check_kind("camera", camera, Camera, "Camera")
        facts = None if camera is None else camera._facts
        self._pipeline = _core.Pipeline(self._instances(), facts)
        self._camera = camera

    @property
    def camera(self) -> Camera | None:
        """Facts that win over those that frames bring along."""
        return self._camera

    @camera.setter
    def camera(self, camera: Camera | None) -> None:
        self._connect(camera)

    def reset(self) -> None:
        """Forgets all frames; parameters stay."""
        for instance in self._instances():
            instance.reset()

    def close(self) -> None:
        """Gives the filters' memory back; they take no frames any more."""
        for instance in self._instances():
            instance.close()

    @property
    def closed(self) -> bool:
        return any(instance.closed for instance in self._instances())

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(self, *error: object) -> None:
        self.close()


class Filter(Runnable):
    """One filter with its history. Parameters are keywords and attributes, which may be set at any time.

    Equal are filters with the same parameters, whatever they have seen; copies and what is pickled begin
    without history. ``camera`` counts where the filter is called by itself, not in a chain.
    """

    schema: ClassVar[tuple[Parameter[Any, Any], ...]] = ()
    _name: ClassVar[str]  # of the filter in the plug-in; classes of users inherit it
    _instance: _core.Instance

    def __init_subclass__(cls, **rest: Any) -> None:
        if not hasattr(cls, "_name"):
            raise TypeError(f"{cls.__name__}: derive from a filter's own class, such as TemporalFilter")
        super().__init_subclass__(**rest)

    if not TYPE_CHECKING:  # checkers of types would take any name from then on

        def __setattr__(self, name: str, value: Any) -> None:
            kind = type(self)
            is_own = "_name" not in vars(kind)  # classes of users may have what they like
            if not (is_own or name.startswith("_") or hasattr(kind, name)):
                valid = [parameter.name for parameter in kind.schema] + ["camera"]
                raise AttributeError(_unknown(kind.__name__, name, valid))
            super().__setattr__(name, value)

    def __init__(self, **values: Any) -> None:
        raise TypeError("make one of the filters' own classes, such as filter_processor.TemporalFilter")

    def _begin(
        self,
        values: Mapping[str, Any],
        camera: Camera | None,
        record: str = "",
        unchecked: bool = False,
    ) -> None:
        texts = self._texts(values)
        check_text("the record's path", record)
        self._instance = _core.Instance(self._name, texts, record, unchecked)
        self._connect(camera)

    @classmethod
    def _texts(cls, values: Mapping[str, Any]) -> dict[str, str]:
        parameters = {parameter.name: parameter for parameter in cls.schema}
        check_keywords(cls.__name__, values, list(parameters))
        return {key: parameters[key].text_of(value) for key, value in values.items()}

    @classmethod
    def _make(
        cls: type[AnyFilter],
        values: Mapping[str, Any],
        camera: Camera | None = None,
        record: str = "",
        unchecked: bool = False,
    ) -> AnyFilter:
        made = cls.__new__(cls)
        made._begin(values, camera, record, unchecked)
        return made

    @classmethod
    def unchecked(cls: type[AnyFilter], *, camera: Camera | None = None, **values: Any) -> AnyFilter:
        """Leaves values outside the schema's ranges to the filter, which may take more than it offers."""
        return cls._make(values, camera, unchecked=True)

    @classmethod
    def from_record(
        cls: type[AnyFilter], path: str | os.PathLike[str], *, camera: Camera | None = None
    ) -> AnyFilter:
        """Configured by a configuration record, a file, in place of parameters."""
        return cls._make({}, camera, record=os.fspath(path))

    @staticmethod
    def from_text(text: str, *, camera: Camera | None = None, unchecked: bool = False) -> Filter:
        """As on ``gxfilter``'s command line: ``NAME``, ``NAME:key=value,key=value`` or ``NAME:@FILE``."""
        name, values, record = _core.parse_filter(text)
        return make_filter(name, values, record, camera, unchecked)

    def update(self, **values: Any) -> None:
        """Sets several parameters at once, all or nothing; from the next frame on."""
        if self._instance.record:
            raise AttributeError(f"{type(self).__name__} is configured by the record {self._instance.record}")
        self._instance.set(self._texts(values))

    def _values(self) -> dict[Parameter[Any, Any], Any]:
        if self._instance.record:
            raise AttributeError(f"{type(self).__name__} is configured by the record {self._instance.record}")
        texts = self._instance.values
        return {parameter: parameter.read(text) for parameter, text in zip(self.schema, texts)}

    @property
    def parameters(self) -> dict[str, Any]:
        """Every parameter and its value."""
        return {parameter.name: value for parameter, value in self._values().items()}

    def _differing(self) -> dict[str, Any]:
        """What is not the default, values by their names where they have one."""
        if self._instance.record:
            return {}
        return {
            parameter.name: parameter.shown(value)
            for parameter, value in self._values().items()
            if value != parameter.default
        }

    def to_dict(self) -> dict[str, Any]:
        """The filter's entry in a chain file; parameters that are not named have their defaults."""
        entry: dict[str, Any] = {"filter": self._name}
        if self._instance.record:
            return {**entry, "record": self._instance.record}
        return {**entry, "params": self._differing()} if self._differing() else entry

    def _instances(self) -> list[_core.Instance]:
        return [self._instance]

    def __repr__(self) -> str:
        arguments = [f"{key}={value!r}" for key, value in self._differing().items()]
        maker = type(self).__name__
        if self._instance.record:
            maker += ".from_record"
            arguments = [repr(self._instance.record)]
        elif self._instance.unchecked:
            maker += ".unchecked"
        if self._camera is not None:
            arguments.append(f"camera={self._camera!r}")
        return f"{maker}({', '.join(arguments)})"

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Filter) or type(self) is not type(other):
            return NotImplemented
        return self._arguments() == other._arguments()

    __hash__ = None  # type: ignore[assignment]

    def _arguments(self) -> tuple[Any, ...]:
        """Of `_make`."""
        record = self._instance.record
        return {} if record else self.parameters, self._camera, record, self._instance.unchecked

    def __reduce__(self) -> tuple[Any, ...]:
        # What a user's class has besides goes along.
        own = {key: value for key, value in vars(self).items() if key not in RUNNING}
        return _remake, (type(self), *self._arguments()), own or None


def _remake(kind: type[Filter], *arguments: Any) -> Filter:
    return kind._make(*arguments)


def make_filter(
    name: str,
    values: Mapping[str, Any],
    record: str = "",
    camera: Camera | None = None,
    unchecked: bool = False,
) -> Filter:
    """A filter by its name."""
    from . import filters

    if name not in filters.__all__:
        raise ValueError(f"unknown filter {name!r}; there are {', '.join(filters.__all__)}")
    kind: type[Filter] = getattr(filters, name)
    return kind._make(values, camera, record, unchecked)
