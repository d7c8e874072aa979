"""Enumerations of the library's numbers, by topic."""

from __future__ import annotations

__all__: list[str] = []
