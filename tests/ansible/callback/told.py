"""Ansible's results for tests: a line of JSON for each host and task, in the file that TOLD names."""

import json
import os

from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):
    """Writes what comes of each task."""

    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "told"

    def _tell(self, outcome, result):
        told = {"host": result._host.get_name(), "task": result._task.get_name(), "outcome": outcome}
        line = json.dumps({**told, "result": result._result}, default=str)
        with open(os.environ["TOLD"], "a", encoding="utf-8") as file:
            file.write(line + "\n")

    def v2_runner_on_ok(self, result):
        self._tell("ok", result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._tell("failed", result)

    def v2_runner_on_unreachable(self, result):
        self._tell("unreachable", result)

    def v2_runner_on_skipped(self, result):
        self._tell("skipped", result)
