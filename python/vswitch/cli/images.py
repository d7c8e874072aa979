"""The verbs for images of the host's state."""

from __future__ import annotations

from vswitch import Host, StateImage
from vswitch.cli.grammar import FILE, argument, option, verb
from vswitch.cli.output import Style, answer, put_value


@verb(argument("file", FILE), option("--persistent", is_flag=True, help="Only what survives a boot."))
def save(style: Style, file: str, persistent: bool) -> None:
    """Save an image of the host's state in FILE."""
    if style.dry_run:
        return
    image = Host().image(persistent=persistent)
    if file == "-":
        import sys

        sys.stdout.buffer.write(bytes(image))
        return
    image.save(file)
    answer(style, f"saved {len(image)} bytes", {"changed": True, "path": file, "result": "saved", "bytes": len(image)})


@verb(argument("file", FILE), option("--merge", is_flag=True, help="Keep the switches that are not in the image."))
def restore(style: Style, file: str, merge: bool) -> None:
    """Restore the host's state from the image in FILE."""
    image = _load(file)
    if style.dry_run:
        return
    Host().restore(image, merge=merge)
    answer(style, "restored", {"changed": True, "path": file, "result": "restored"})


@verb(argument("file", FILE))
def show(style: Style, file: str) -> None:
    """Print what the image in FILE holds."""
    put_value(style, _load(file).summary(), ["observed"])


def _load(file: str) -> StateImage:
    if file == "-":
        import sys

        return StateImage(sys.stdin.buffer.read())
    return StateImage.load(file)
