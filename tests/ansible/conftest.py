"""What the tests of the collection share."""

from typing import Any

import pytest
from collection import Ansible, needs


@pytest.fixture(scope="session")
def ansible(tmp_path_factory: Any) -> Ansible:
    """Ansible with the collection, built and installed once."""
    needs("ansible-playbook", "ansible-core")
    made = Ansible(tmp_path_factory.mktemp("ansible"))
    made.install()
    return made
