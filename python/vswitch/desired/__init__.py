"""Desired state: documents, what a host lacks to be as one says, changes that are verified, undone and confirmed."""
