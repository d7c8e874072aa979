"""`python3 -m vswitch`: the command line."""

import sys

from vswitch.cli import main

sys.exit(main())
