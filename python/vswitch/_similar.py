"""Which known name a misspelt one is likely to be."""

from __future__ import annotations

from collections.abc import Iterable


def distance(one: str, other: str) -> int:
    """The Damerau-Levenshtein distance: insertions, deletions, replacements and swaps of neighbours."""
    seen: dict[str, int] = {}
    most = len(one) + len(other)
    rows = [[most] * (len(other) + 2), [most, *range(len(other) + 1)]]
    for i, a in enumerate(one, 1):
        row = [most, i]
        last_equal = 0
        for j, b in enumerate(other, 1):
            i_before, j_before = seen.get(b, 0), last_equal
            if a == b:
                last_equal = j
            row.append(
                min(
                    rows[i][j] + (a != b),
                    rows[i][j + 1] + 1,
                    row[j] + 1,
                    rows[i_before][j_before] + (i - i_before - 1) + 1 + (j - j_before - 1),
                )
            )
        rows.append(row)
        seen[a] = i
    result: int = rows[-1][-1]
    return result


def similar(text: str, candidates: Iterable[str]) -> str | None:
    """The one of `candidates` nearest to `text`, of equals the first; None where even that is not near: more than 2 or
    a third of the text's length, rounded up."""
    most = min(2, -(-len(text) // 3))
    near = [
        (distance(text, one), one) for one in candidates if one != text and abs(len(one) - len(text)) <= most
    ]
    best = min(near, key=lambda pair: pair[0], default=(most + 1, ""))
    return best[1] if best[0] <= most else None


def did_you_mean(text: str, candidates: Iterable[str]) -> str:
    """What an error adds: "; did you mean 'workload'?", or nothing."""
    found = similar(text, candidates)
    return f"; did you mean {found!r}?" if found is not None else ""
