"""Calls during which other threads of the script run."""

import os

from libvswitch._records import fork_begins, forked_in_child, forked_in_parent
from libvswitch._records import unlocked as unlocked

# A child is not made in the middle of a call: nobody would finish it there.
os.register_at_fork(before=fork_begins, after_in_parent=forked_in_parent, after_in_child=forked_in_child)
