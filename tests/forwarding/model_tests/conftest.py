"""Finds the model and the generators of random hosts, which lie in the folder above."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1]))
