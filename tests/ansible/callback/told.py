"""Ansible's results for tests: a line of JSON for each host and task, in the file that TOLD names."""

import json
import os
from typing import Any

from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):  # type: ignore[misc]
    """Writes what comes of each task."""

    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "told"

    def _tell(self, outcome: str, result: Any) -> None:
        told = {"host": result._host.get_name(), "task": result._task.get_name(), "outcome": outcome}
        line = json.dumps({**told, "result": result._result}, default=str)
        with open(os.environ["TOLD"], "a", encoding="utf-8") as file:
            file.write(line + "\n")

    def v2_runner_on_ok(self, result: Any) -> None:
        self._tell("ok", result)

    def v2_runner_on_failed(self, result: Any, ignore_errors: bool = False) -> None:
        self._tell("failed", result)

    def v2_runner_on_unreachable(self, result: Any) -> None:
        self._tell("unreachable", result)

    def v2_runner_on_skipped(self, result: Any) -> None:
        self._tell("skipped", result)
