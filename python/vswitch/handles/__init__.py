"""Handles: objects that are names, and ask the host that is in use at each use."""
