"""Arguments on their way into the core, which would refuse them in its own words."""

from __future__ import annotations

import numbers
import os
from typing import Any

__all__ = ["check_kind", "check_pair", "check_text", "check_whole"]


def check_text(what: str, text: str | os.PathLike[str]) -> str:
    """The text, which libraries in C must not take for a shorter one."""
    if not isinstance(text, (str, os.PathLike)):
        raise TypeError(f"{what} must be a text, not {type(text).__name__}")
    text = os.fspath(text)
    if "\0" in text:
        raise ValueError(f"{what} holds a NUL character: {text!r}")
    return text


def check_kind(what: str, value: Any, kind: type, name: str) -> None:
    """None stands for what is not given."""
    if value is not None and not isinstance(value, kind):
        raise TypeError(f"{what} must be a {name}, not {type(value).__name__}")


def check_whole(what: str, value: Any, low: int, high: int) -> int:
    if not isinstance(value, numbers.Integral):
        raise TypeError(f"{what} must be a whole number, not {type(value).__name__}")
    number = int(value)
    if not low <= number <= high:
        raise ValueError(f"{what} must be from {low} to {high}, not {number}")
    return number


def check_pair(what: str, values: Any, form: str, kind: type) -> tuple[Any, Any]:
    try:
        first, second = values
    except (TypeError, ValueError):
        raise TypeError(f"{what} must be {form}, not {values!r}") from None
    if not (isinstance(first, kind) and isinstance(second, kind)):
        raise TypeError(f"{what} must be {form}, two numbers, not {values!r}")
    return first, second
